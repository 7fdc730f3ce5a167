#!/usr/bin/env bash
# Reads Android.bp files with the Android 11 build system's own code: builds
# scripts/android_bp_check (Go, GOPATH mode, offline against Debian's Soong and
# Blueprint sources of that release) into build/android-bp, runs it on each
# file, then checks that bpfmt leaves each file unchanged.
#   scripts/android_bp_check.sh FILE...   (paths relative to the repository top)
set -euo pipefail
cd "$(dirname "$0")/.."
src=/usr/share/gocode/src/android/soong
for need in go bpfmt; do
  command -v "$need" >/dev/null ||
    { echo "android_bp_check: $need is missing: run scripts/setup.sh" >&2; exit 2; }
done
[ -d "$src/cc" ] || { echo "android_bp_check: $src is missing: run scripts/setup.sh" >&2; exit 2; }

out=$PWD/build/android-bp
mkdir -p "$out/gopath"
# The Go build cache stays in build/, so a rebuild takes seconds.
GO111MODULE=off GOPATH="$out/gopath:/usr/share/gocode" GOCACHE="$out/gocache" GOFLAGS= GOPROXY=off \
  go build -o "$out/android_bp_check" ./scripts/android_bp_check

status=0
"$out/android_bp_check" "$@" || status=1
for f in "$@"; do
  if [ -n "$(bpfmt -l "$f")" ]; then
    echo "$f: not in bpfmt form; bpfmt -w $f makes it so:" >&2
    bpfmt -d "$f" >&2 || true
    status=1
  fi
done
exit "$status"

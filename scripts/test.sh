#!/usr/bin/env bash
# Sets everything up and runs the whole test suite three times: natively on
# x86-64, cross-built for AArch64 under qemu, and with ASan + UBSan.
# Pass flavours to run a subset: scripts/test.sh host asan
set -euo pipefail
cd "$(dirname "$0")/.."
flavours=("$@")
[ "${#flavours[@]}" -gt 0 ] || flavours=(host arm64 asan)
scripts/setup.sh
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
for f in "${flavours[@]}"; do
  echo "=== ${f}: build"
  scripts/build.sh "$f"
  echo "=== ${f}: test"
  label_args=()
  ctest --test-dir "build/${f}" --output-on-failure -j "$(nproc)" --timeout 900 "${label_args[@]}"
done

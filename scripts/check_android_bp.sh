#!/usr/bin/env bash
# Keeps Android.bp buildable by the Android 11 (API 30) build system of the
# vendor trees we target, since nothing here can run a platform build:
#  1. every file and folder it names exists, and every source of the library,
#     the GoogleTest suite, the benchmarks and the fuzzers is listed in it
#     (each failure says which line to add where);
#  2. that release's own Soong code reads it (scripts/android_bp_check: an
#     unknown module type or property, a value of the wrong type or a
#     dependency on no module fails with file and line);
#  3. bpfmt leaves it unchanged.
#   scripts/check_android_bp.sh
set -euo pipefail
cd "$(dirname "$0")/.."
bp=Android.bp
errors=0
problem() {
  echo "check_android_bp: $*" >&2
  errors=$((errors + 1))
}

# Named paths: sources, headers, scripts, the licence text, include folders
# and fuzz corpus folders (a corpus glob "dir/*" names dir).
while read -r path; do
  [ -e "${path%/\*}" ] || problem "$bp names \"$path\", which does not exist"
done < <(grep -v '^ *//' "$bp" | grep -oE '"[A-Za-z0-9_./*-]+"' | tr -d '"' |
  grep -E '(\.(cpp|h|map)$|^LICENSE$|/\*$)' | sort -u)
for dir in $(awk '/_include_dirs: \[/ { on = 1 } on { print } on && /\]/ { on = 0 }' "$bp" |
  grep -oE '"[^"]+"' | tr -d '"' | sort -u); do
  [ -d "$dir" ] || problem "$bp names the include folder \"$dir\", which does not exist"
done

# listed PATH HINT: PATH must appear quoted in Android.bp (in a list, or in a
# comment saying why it is not built for the device).
listed() {
  grep -qF "\"$1\"" "$bp" || problem "$1 is not in $bp: add \"$1\" $2"
}
for f in core/*.cpp engine/*.cpp resample/*.cpp io/*.cpp; do
  [ -e "$f" ] && listed "$f" "to the srcs of filegroup \"libmirvo_core_frame_srcs\""
done
for f in tools/*.cpp; do
  [ -e "$f" ] && listed "$f" "to the srcs of filegroup \"libmirvo_core_tool_srcs\""
done
for f in tests/*_test.cpp tests/support/*.cpp; do
  [ -e "$f" ] && listed "$f" "to the srcs of cc_test \"mirvo_tests\" (or, if it cannot run on a device, name it in the comment above mirvo_tests)"
done
for f in bench/*.cpp; do
  [ -e "$f" ] && listed "$f" "to the srcs of cc_benchmark \"mirvo_bench\""
done
for f in fuzz/fuzz_*.cpp; do
  [ -e "$f" ] || continue
  name=$(basename "$f" .cpp)
  # A workstation-only fuzzer is named, quoted, in a comment instead.
  grep -qF "name: \"mirvo_$name\"" "$bp" || grep -qF "\"$f\"" "$bp" ||
    problem "$f has no fuzzer in $bp: add a cc_fuzz \"mirvo_$name\" with srcs \"$f\" and \"fuzz/scratch_file.cpp\", like mirvo_fuzz_core"
done

# Android 11 reads licence metadata from files beside Android.bp, not from a
# license module (docs/android.md).
[ -f MODULE_LICENSE_APACHE2 ] || problem "MODULE_LICENSE_APACHE2 (the licence marker Android 11 reads) is missing"
cmp -s LICENSE NOTICE || problem "NOTICE must be a copy of LICENSE: cp LICENSE NOTICE"

if [ "$errors" -gt 0 ]; then
  echo "check_android_bp: $errors problem(s)" >&2
else
  echo "Android.bp: $(grep -cE '^ +"[a-z].*\.cpp",?$' "$bp") source entries, all present; every library, test, benchmark and fuzz source listed"
fi

scripts/android_bp_check.sh "$bp" && [ "$errors" -eq 0 ]

#!/usr/bin/env bash
# Keeps Android.bp in step with the tree, since nothing here can build it:
# every file and folder it names exists, and every source of the library, the
# GoogleTest suite, the benchmarks and the fuzzers is listed in it. Each
# failure says which line to add where.
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

if [ "$errors" -gt 0 ]; then
  echo "check_android_bp: $errors problem(s)" >&2
  exit 1
fi
echo "Android.bp: $(grep -cE '^ +"[a-z].*\.cpp",?$' "$bp") source entries, all present; every library, test, benchmark and fuzz source listed"

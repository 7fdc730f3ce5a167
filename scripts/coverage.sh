#!/usr/bin/env bash
# Line and branch coverage of the whole test suite (but the slow label): GCC
# --coverage build into build/coverage, CTest, then gcovr. Prints coverage of
# the library (core/ engine/ resample/ io/ tools/) and of the program (cli/),
# keeps HTML under build/coverage/html/{library,cli}/index.html, and fails when
# library line or branch coverage drops below the floors below.
set -euo pipefail
cd "$(dirname "$0")/.."
# The floors: library lines 99 % and branches 87 % (measured 99.8 % and
# 87.4 % on a machine with AVX-512; a CPU without it leaves that path's vector
# logf/expf, about 2 % of the library's lines, unrun and falls below the line
# floor). What is left is listed, with the reason, in docs/testing.md.
min_library_lines=99
min_library_branches=87
min_program_lines=97
dir=build/coverage
jobs="$(nproc)"
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DMIRVO_COVERAGE=ON -DMIRVO_WERROR=ON >/dev/null
cmake --build "$dir" -j "$jobs"
# Counts from an earlier run would add up with this one. The soak needs few
# frames to reach all its paths; its length matters for memory, not coverage.
find "$dir" -name '*.gcda' -delete
MIRVO_SOAK_FRAMES=1200 ctest --test-dir "$dir" -LE slow -j "$jobs" --timeout 900 --output-on-failure >"$dir/ctest.log" ||
  { tail -n 60 "$dir/ctest.log"; exit 1; }
grep -E "tests passed|Total Test time" "$dir/ctest.log"

# Throw branches and the ones GCC proves unreachable are compiler artefacts,
# not decisions of the code.
gcovr -r . "$dir" -j "$jobs" --exclude-throw-branches --exclude-unreachable-branches \
  --filter 'core/' --filter 'engine/' --filter 'resample/' --filter 'io/' --filter 'tools/' --filter 'cli/' --filter 'workbench/' \
  --json "$dir/coverage.json"
rm -rf "$dir/html"
mkdir -p "$dir/html/library" "$dir/html/cli" "$dir/html/workbench"
report() {  # name, extra gcovr arguments...
  local name="$1"
  shift
  echo "=== coverage: $name"
  gcovr -r . -a "$dir/coverage.json" --print-summary --html-details "$dir/html/$name/index.html" "$@"
}
report library --txt --filter 'core/' --filter 'engine/' --filter 'resample/' --filter 'io/' --filter 'tools/' \
  --fail-under-line "$min_library_lines" --fail-under-branch "$min_library_branches"
report cli --filter 'cli/' --fail-under-line "$min_program_lines"
report workbench --filter 'workbench/'
echo "HTML: $dir/html/{library,cli,workbench}/index.html"

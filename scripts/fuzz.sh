#!/usr/bin/env bash
# Builds the libFuzzer targets with clang-14 (ASan + UBSan) and runs each one
# for a fixed time over its checked-in seed corpus.
#   scripts/fuzz.sh            30 s per target (CI runs 20 s: scripts/test.sh passes it)
#   scripts/fuzz.sh 3600       a long run: one hour per target
#   scripts/fuzz.sh 60 fuzz_core   one target only
# New interesting inputs go to build/fuzz/corpus/<target>; crashes to
# build/fuzz/artifacts/. The run fails on the first finding.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-30}"
shift || true
dir=build/fuzz
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
  -DCMAKE_CXX_COMPILER=clang++-14 -DMIRVO_BUILD_FUZZ=ON -DMIRVO_FUZZ_INSTRUMENT=ON -DMIRVO_BUILD_TESTS=OFF \
  -DMIRVO_BUILD_CLI=OFF -DMIRVO_BUILD_PYTHON=OFF -DMIRVO_WERROR=ON >/dev/null
cmake --build "$dir" -j "$(nproc)"
targets=("$@")
if [ "${#targets[@]}" -eq 0 ]; then
  for f in fuzz/fuzz_*.cpp; do t=$(basename "$f" .cpp); targets+=("$t"); done
fi
mkdir -p "$dir/artifacts"
# A smaller quarantine than the default 256 MB: a use after free is still
# caught many inputs later, and the engine targets no longer spend a third of
# their time faulting in fresh pages for every input's allocations.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:quarantine_size_mb=16
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
status=0
for t in "${targets[@]}"; do
  work="$dir/corpus/$t"
  mkdir -p "$work"
  seeds=()
  [ -d "fuzz/corpus/$t" ] && seeds=("fuzz/corpus/$t")
  log="$dir/$t.log"
  # The readers print their documented stream messages on bad input; keep the
  # noise in a log and show its tail only when something is found.
  if "$dir/fuzz/$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=40000 \
      -artifact_prefix="$dir/artifacts/$t-" "$work" "${seeds[@]}" >"$log" 2>&1; then
    echo "$t: $(grep -Eo '#[0-9]+' "$log" | tail -1 | tr -d '#') executions in ${seconds}s, no finding"
  else
    echo "$t: FINDING (log: $log)"
    grep -v "stream .* error state" "$log" | tail -40
    status=1
  fi
done
exit $status

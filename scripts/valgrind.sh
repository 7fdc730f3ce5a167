#!/usr/bin/env bash
# Builds the mirvo program with g++ (RelWithDebInfo, build/valgrind) and runs
# its end-to-end scenarios under Valgrind memcheck: the demo, run on
# statistics dumps and on raw frames, stats, table, view, report, the import of a
# calibration, learn, calibrate and a few bad inputs. Any memory error or definite
# leak fails the script; so does an unexpected exit status. Prints the total run time.
#   scripts/valgrind.sh
set -euo pipefail
cd "$(dirname "$0")/.."
start=$SECONDS
dir=build/valgrind
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=gcc -DCMAKE_CXX_COMPILER=g++ \
  -DMIRVO_WERROR=ON -DMIRVO_BUILD_CLI=ON -DMIRVO_BUILD_TESTS=ON -DMIRVO_BUILD_BENCH=OFF >/dev/null
# The fixture writer makes small inputs: 520x384 raw frames, a tuning file.
cmake --build "$dir" -j "$(nproc)" --target mirvo make_cli_fixtures
echo "=== valgrind: build done in $((SECONDS - start))s"

MIRVO=$dir/cli/mirvo
W=$(mktemp -d "${TMPDIR:-/tmp}/mirvo_valgrind.XXXXXX")
trap 'rm -rf "$W"' EXIT
mkdir "$W/in"
"$dir/tests/cli/make_cli_fixtures" "$W/in"
IN=$W/in
RAW=(--width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024)
VALGRIND=(valgrind --tool=memcheck --error-exitcode=99 --leak-check=full --errors-for-leak-kinds=definite
  --show-leak-kinds=definite --quiet)
failures=0

# vg STATUS NAME ARGS...: mirvo ARGS under memcheck must exit with STATUS.
vg() {
  local want=$1 name=$2
  shift 2
  local t0=$SECONDS status=0
  timeout 900 "${VALGRIND[@]}" --log-file="$W/$name.vg" "$MIRVO" "$@" >"$W/$name.out" 2>"$W/$name.err" ||
    status=$?
  if [ "$status" -ne "$want" ] || [ -s "$W/$name.vg" ]; then
    echo "FAIL $name: exit status $status, expected $want (99: memcheck found errors)"
    cat "$W/$name.vg" "$W/$name.err"
    failures=$((failures + 1))
  else
    echo "ok   $name ($((SECONDS - t0))s)"
  fi
}

vg 0 demo demo --frames 2 --debug --save-raw --out-dir "$W/demo"
vg 0 run_stats run --base "$W/demo/base.h" --stats "$W/demo"/stats_*.txt --tuning "$IN/tuning.h" \
  --override "$IN/override.txt" --debug --png --out-dir "$W/run_stats"
vg 0 run_raw run --base "$IN/base.h" --raw "$IN"/raw_*.raw "${RAW[@]}" --png --jobs 2 --out-dir "$W/run_raw"
vg 0 run_mipi run --base "$IN/base.h" --raw "$IN"/mipi_*.raw "${RAW[@]}" --mipi --no-sync --out-dir "$W/run_mipi"
vg 0 run_zero_counts run --base "$IN/base.h" --stats "$IN/zero_counts.txt" --out-dir "$W/run_zero"
vg 0 stats stats --raw "$IN/raw_000.raw" "${RAW[@]}" --out "$W/s.txt" --mean-image "$W/m.raw"
vg 0 table table "$W/run_stats/table_001.h" --sim "$W/t.sim" --png "$W/t.png"
vg 0 view view "$W/run_stats/diag_001.txt" --out-dir "$W/view"
vg 0 report report "$W/run_zero"
LSC=tests/data/lsc/rkisp1_imx258.json
vg 0 import table --import "$LSC" --ct 2856 --out "$W/base_2856.h"
vg 0 import_json table "$W/base_2856.h" --json
"$MIRVO" table --import "$LSC" --ct 7504 --out "$W/base_7504.h" >/dev/null
vg 0 learn learn --table "$W/base_2856.h" "$W/base_7504.h" --out "$W/learned.h"

# Bad inputs end through the error paths, with frames or outputs in flight.
head -c 3000 "$IN/base.h" >"$W/truncated.h"
sed 's/0x[0-9a-f]*\t/0x12g\t/7' "$IN/stats_000.txt" >"$W/glued.txt"
vg 1 bad_table table "$W/truncated.h"
vg 1 bad_frame run --base "$IN/base.h" --stats "$IN/stats_000.txt" "$W/glued.txt" "$IN/stats_001.txt" \
  --png --out-dir "$W/bad_frame"
vg 1 bad_override run --base "$IN/base.h" --stats "$IN/stats_000.txt" --override "$W/t.png" --out-dir "$W/bad"
vg 1 bad_raw_size stats --raw "$IN/mipi_000.raw" "${RAW[@]}" --out "$W/s2.txt"
vg 1 bad_view view "$IN/stats_000.txt" --out-dir "$W/bad_view"
vg 1 bad_report report "$W/run_raw/table_000.h"
# The fixture frames show a scene: measured, fitted and refused as no flat field.
vg 1 calibrate_scene calibrate --raw "$IN"/raw_000.raw "$IN"/raw_001.raw "${RAW[@]}" --png --out "$W/flat.h"
vg 1 unwritable run --base "$IN/base.h" --raw "$IN/raw_000.raw" "${RAW[@]}" --out-dir "$IN/base.h/sub"
vg 2 bad_pattern run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 \
  --pattern rggb --out-dir "$W/bad"

echo "=== valgrind: $failures failure(s), total run time $((SECONDS - start))s"
[ "$failures" -eq 0 ]

# run --debug writes one diagnostic dump per frame, none without it, and
# view draws every grid of it. What a dump holds is pinned by
# CliRun.DebugWritesTheLibrarysDumps (the library's own dump, byte for byte)
# and EngineTest.DiagnosticsRecordEveryStage (the keys).
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
IN=$T/in
run_mirvo run --debug --base "$IN/base.h" --stats "$IN/stats_000.txt" "$IN/stats_001.txt" --out-dir "$T/out"
[ "$STATUS" -eq 0 ] || fail "run --debug failed: $(cat "$ERR")"
for k in 000 001; do
  d=$T/out/diag_$k.txt
  [ -s "$d" ] || fail "no $d"
done
# Without --debug no dump is written.
run_mirvo run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$T/plain"
ls "$T/plain" | grep -q diag && fail "diagnostic dump written without --debug"

run_mirvo view "$T/out/diag_001.txt" --out-dir "$T/view"
[ "$STATUS" -eq 0 ] || fail "view failed: $(cat "$ERR")"
grep -qx 'smooth_thd = 0.04' "$OUT" || fail "view does not list the scalars: $(cat "$OUT")"
grids=$(grep -c '^$' "$T/out/diag_001.txt")
pngs=$(ls "$T/view" | grep -c '\.png$')
[ "$pngs" -eq "$grids" ] || fail "view drew $pngs pictures for $grids grids"
for f in GradH_UX WX log_tint_u output_table_R is_reliable_dx_ lin_stat_count; do
  [ -s "$T/view/$f.png" ] || fail "view did not draw $f.png"
  head -c 8 "$T/view/$f.png" | od -An -c | grep -q 'P   N   G' || fail "$f.png is not a PNG"
done
finish

# run writes a summary of every frame (unless told not to), report turns it
# into a page, and both refuse what they cannot use with one line.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
I=$T/in

# A run with a frame of empty cells: its NaN reaches the projections and stays.
run_mirvo run --base "$I/base.h" --stats "$I/stats_000.txt" "$I/stats_001.txt" "$I/zero_counts.txt" \
  "$I/stats_002.txt" --no-sync --out-dir "$T/r"
[ "$STATUS" -eq 0 ] || fail "run failed: $(cat "$ERR")"
for f in summary.json summary.csv; do [ -s "$T/r/$f" ] || fail "run did not write $f"; done
[ "$(wc -l <"$T/r/summary.csv")" -eq 5 ] || fail "summary.csv should have a header and 4 lines: $(cat "$T/r/summary.csv")"
head -n 1 "$T/r/summary.csv" | grep -q '^index,input,prj_u,prj_v,temporal_gain,' || fail "summary.csv header"
# The frame of empty cells and the one after it have non-finite projections.
[ "$(cut -d, -f19 "$T/r/summary.csv" | tr '\n' ' ')" = "nonfinite_projection 0 0 1 1 " ] ||
  fail "non-finite projection flags: $(cut -d, -f19 "$T/r/summary.csv" | tr '\n' ' ')"
grep -q "\"input\":\"$I/zero_counts.txt\"" "$T/r/summary.json" || fail "summary.json lacks the input names"

run_mirvo report "$T/r"
[ "$STATUS" -eq 0 ] || fail "report failed: $(cat "$ERR")"
grep -q "^$T/r/report.html: 4 frames, 4 kept whole, [0-9]* KB$" "$OUT" || fail "report's line: $(cat "$OUT")"
grep -q '2 frames with projections that are not finite' "$T/r/report.html" || fail "report lacks the warning"
grep -qi '<script\|https\?://[a-z]' <(grep -v 'xmlns="http://www.w3.org/2000/svg"' "$T/r/report.html") &&
  fail "report refers to scripts or the network"

# Without a summary, nothing is written; the report then has nothing to read.
run_mirvo run --base "$I/base.h" --stats "$I/stats_000.txt" --no-summary --no-sync --out-dir "$T/n"
[ "$STATUS" -eq 0 ] || fail "run --no-summary failed: $(cat "$ERR")"
[ -e "$T/n/summary.json" ] && fail "run --no-summary wrote a summary"
expect_error 1 "$T/n/summary.json: " report "$T/n"
expect_error 2 "give --summary or --no-summary" run --base "$I/base.h" --stats "$I/stats_000.txt" --summary \
  --no-summary --out-dir "$T/x"
[ ! -e "$T/x" ] || fail "run --summary --no-summary created its output folder"
expect_error 2 "give exactly one run directory" report

# A bad summary: one line naming it, and the earlier report stays as it was.
cp "$T/r/report.html" "$T/good.html"
for bad in '' '{"format": "mirvo-run-summary"' '{"format": "something else"}' \
  "$(sed 's/"prj_u":[^,]*/"prj_u":"x"/' "$T/r/summary.json")"; do
  printf '%s' "$bad" >"$T/r/summary.json"
  expect_error 1 "$T/r/summary.json: " report "$T/r"
  cmp -s "$T/r/report.html" "$T/good.html" || fail "a failed report changed the earlier one"
done

# The demo writes a summary too. Its engine converges from zero: the first six
# frames move the projections by more than twice prj_delta_thd (jumps, which
# the temporal filter follows at its full gain 0.3), the seventh less, and the
# eighth overshoots back by a jump again.
run_mirvo demo --frames 8 --no-png --no-sync --out-dir "$T/demo"
[ "$STATUS" -eq 0 ] || fail "demo failed: $(cat "$ERR")"
[ "$(cut -d, -f5 "$T/demo/summary.csv" | sed -n 2,7p | sort -u)" = "0.3" ] || fail "demo's first temporal gains"
[ "$(cut -d, -f20 "$T/demo/summary.csv" | tr '\n' ' ')" = "jump 1 1 1 1 1 1 0 1 " ] ||
  fail "demo's jumps: $(cut -d, -f20 "$T/demo/summary.csv" | tr '\n' ' ')"

# A guarded run: a base table whose R corner (63) brings the engine's table
# close to the guard's limit of 64. The sixth frame's table passes it and is
# replaced by the fifth's; the engine restarts and stays below. The summary
# flags exactly that frame, with the reason, and does not call the
# replacement a rescale (its greens are the fifth table's, not the base's).
sed '3s/^1\.44012f/63.0f/' "$T/demo/base.h" >"$T/near_limit.h"
cmp -s "$T/demo/base.h" "$T/near_limit.h" && fail "the demo's base table changed: adjust the guarded scenario"
run_mirvo run --guard --base "$T/near_limit.h" --stats "$T"/demo/stats_00[0-7].txt --no-sync --out-dir "$T/g"
[ "$STATUS" -eq 0 ] || fail "guarded run failed: $(cat "$ERR")"
grep -q "^8 frames, 1 guarded, tables in $T/g$" "$OUT" || fail "guarded run's line: $(cat "$OUT")"
head -n 1 "$T/g/summary.csv" | grep -q ',jump,guarded,guard_reason$' || fail "summary.csv lacks the guard's columns"
[ "$(cut -d, -f21 "$T/g/summary.csv" | tr '\n' ' ')" = "guarded 0 0 0 0 0 1 0 0 " ] ||
  fail "guarded flags: $(cut -d, -f21 "$T/g/summary.csv" | tr '\n' ' ')"
grep -q '^5,.*,0,nan,[0-9]*,[0-9]*,0,0,0,1,"1 gain outside \[0.015625, 64\]; first R\[0\]\[0\] = 64\.[0-9]*"$' \
  "$T/g/summary.csv" || fail "guarded frame's record: $(sed -n 7p "$T/g/summary.csv")"
grep -q '"guard":true,"guarded_frames":1,' "$T/g/summary.json" || fail "run record lacks the guard"
grep -q '"guard":false,"guarded_frames":0,' "$T/demo/summary.json" || fail "an unguarded run's record"
run_mirvo report "$T/g"
[ "$STATUS" -eq 0 ] || fail "report of the guarded run failed: $(cat "$ERR")"
grep -q "Frame 5 ($T/demo/stats_005.txt) guarded: the table the engine made had 1 gain outside" "$T/g/report.html" ||
  fail "report does not list the guarded frame"
grep -q '1 of 8 frames guarded' "$T/g/report.html" || fail "report's run record lacks the guard"

# stats says how much of the grid the engine would not trust, and why.
run_mirvo stats --raw "$I/raw_000.raw" --width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024 \
  --out "$T/s.txt"
[ "$STATUS" -eq 0 ] || fail "stats failed: $(cat "$ERR")"
grep -Eq "^$T/s.txt: 32x24 cells, 14 bits; unreliable [0-9.]+% \([0-9]+ cells\): low level [0-9.]+%, high level [0-9.]+%, saturated [0-9.]+%$" "$OUT" ||
  fail "stats line: $(cat "$OUT")"
finish

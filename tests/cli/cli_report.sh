# run writes a summary of every frame (unless told not to), report turns it
# into a page, and both refuse what they cannot use with one line. The
# summary's and the page's contents are pinned by RunSummary.*, Report.*
# (cli_report_test.cpp); here what a real run writes and the page shows.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
I=$T/in RAW="--width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024"
# A run with a frame of empty cells: its NaN reaches the projections and stays.
ok run --base "$I/base.h" --stats "$I/stats_000.txt" "$I/stats_001.txt" "$I/zero_counts.txt" "$I/stats_002.txt" \
  --no-sync --out-dir "$T/r"
head -n 1 "$T/r/summary.csv" | grep -q '^index,input,prj_u,prj_v,temporal_gain,' || fail "summary.csv header"
[ "$(cut -d, -f19 "$T/r/summary.csv" | tr '\n' ' ')" = "nonfinite_projection 0 0 1 1 " ] ||
  fail "non-finite projection flags: $(cut -d, -f19 "$T/r/summary.csv" | tr '\n' ' ')"
grep -q "\"input\":\"$I/zero_counts.txt\"" "$T/r/summary.json" || fail "summary.json lacks the input names"
ok report "$T/r"
grep -q "^$T/r/report.html: 4 frames, 4 kept whole, [0-9]* KB$" "$OUT" || fail "report's line: $(cat "$OUT")"
# Without a summary, nothing is written; the report then has nothing to read.
ok run --base "$I/base.h" --stats "$I/stats_000.txt" --no-summary --no-sync --out-dir "$T/n"
[ -e "$T/n/summary.json" ] && fail "run --no-summary wrote a summary"
expect_error 1 "$T/n/summary.json: " report "$T/n"
expect_error 2 "give --summary or --no-summary" run --base "$I/base.h" --stats "$I/stats_000.txt" --summary \
  --no-summary --out-dir "$T/x"
[ ! -e "$T/x" ] || fail "run --summary --no-summary created its output folder"
expect_error 2 "give exactly one run directory" report
# The demo's engine converges from zero: the first six frames move the
# projections by more than twice prj_delta_thd (jumps, which the temporal
# filter follows at its full gain 0.3), the seventh less, and the eighth
# overshoots back by a jump again.
ok demo --frames 8 --no-png --no-sync --out-dir "$T/demo"
[ "$(cut -d, -f5 "$T/demo/summary.csv" | sed -n 2,7p | sort -u)" = "0.3" ] || fail "demo's first temporal gains"
[ "$(cut -d, -f20 "$T/demo/summary.csv" | tr '\n' ' ')" = "jump 1 1 1 1 1 1 0 1 " ] ||
  fail "demo's jumps: $(cut -d, -f20 "$T/demo/summary.csv" | tr '\n' ' ')"
# A guarded run: a base whose R corner (63) brings the engine's table close to
# the guard's limit of 64. The sixth frame's table passes it and is replaced;
# the summary flags exactly that frame, with the reason, and the page lists it.
sed '3s/^1\.44012f/63.0f/' "$T/demo/base.h" >"$T/near_limit.h"
cmp -s "$T/demo/base.h" "$T/near_limit.h" && fail "the demo's base table changed: adjust the guarded scenario"
ok run --guard --base "$T/near_limit.h" --stats "$T"/demo/stats_00[0-7].txt --no-sync --out-dir "$T/g"
grep -q "^8 frames, 1 guarded, tables in $T/g$" "$OUT" || fail "guarded run's line: $(cat "$OUT")"
[ "$(cut -d, -f21 "$T/g/summary.csv" | tr '\n' ' ')" = "guarded 0 0 0 0 0 1 0 0 " ] || fail "guarded flags"
grep -q '^5,.*,0,nan,[0-9]*,[0-9]*,0,0,0,1,"1 gain outside \[0.015625, 64\]; first R\[0\]\[0\] = 64\.[0-9]*"$' \
  "$T/g/summary.csv" || fail "guarded frame's record: $(sed -n 7p "$T/g/summary.csv")"
grep -q '"guard":true,"guarded_frames":1,' "$T/g/summary.json" || fail "run record lacks the guard"
ok report "$T/g"
grep -q "Frame 5 ($T/demo/stats_005.txt) guarded: the table the engine made had 1 gain outside" "$T/g/report.html" ||
  fail "report does not list the guarded frame"
grep -q '1 of 8 frames guarded' "$T/g/report.html" || fail "report's run record lacks the guard"
# stats says how much of the grid the engine would not trust, and why.
ok stats --raw "$I/raw_000.raw" $RAW --out "$T/s.txt"
grep -Eq "^$T/s.txt: 32x24 cells, 14 bits; unreliable [0-9.]+% \([0-9]+ cells\): low level [0-9.]+%, high level [0-9.]+%, saturated [0-9.]+%$" "$OUT" ||
  fail "stats line: $(cat "$OUT")"
# Pictures: a run over raw frames keeps its summary's frames before and after
# (one pair each, JPEG), the report shows them; mirvo preview renders one
# frame as PNG or JPEG after the name; bad input gives one line.
jpeg() { [ "$(head -c 3 "$1" | od -An -tx1 | tr -d ' ')" = ffd8ff ] || fail "$1 is not a JPEG"; }
ok run --base "$I/base.h" --raw "$I/raw_000.raw" "$I/raw_001.raw" $RAW --preview --no-sync --out-dir "$T/p"
for f in "$T"/p/preview/frame_000{0,1}_{before,after}{,_lines}.jpg; do jpeg "$f"; done
ok report "$T/p"
[ "$(grep -c '<div class="pv">' "$T/p/report.html")" -eq 2 ] || fail "report of run --preview: not two picture pairs"
ok preview --raw "$I/raw_000.raw" $RAW --table "$I/base.h" --out-width 100 --out "$T/one.png"
grep -Eq "^$T/one.png: 100x74; colour shading left [0-9.]+ % RMS over [0-9]+ grey cells$" "$OUT" ||
  fail "preview line: $(cat "$OUT")"
[ "$(head -c 4 "$T/one.png" | od -An -tx1 | tr -d ' ')" = "89504e47" ] || fail "preview .png is not a PNG"
ok preview --raw "$I/raw_000.raw" $RAW --out "$T/one.JPEG" && jpeg "$T/one.JPEG"
head -c 1000 "$I/raw_000.raw" >"$T/short.raw"
expect_error 1 "$T/short.raw: " preview --raw "$T/short.raw" $RAW --out "$T/x.png"
expect_error 1 "$I/stats_000.txt: not a valid LSC table" preview --raw "$I/raw_000.raw" $RAW --table \
  "$I/stats_000.txt" --out "$T/x.png"
[ -e "$T/x.png" ] && fail "a failed preview left a picture"
expect_error 2 "--preview applies to --raw frames only" run --base "$I/base.h" --stats "$I/stats_000.txt" --preview \
  --out-dir "$T/x"
finish

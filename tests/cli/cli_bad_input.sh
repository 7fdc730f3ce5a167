# Every class of bad input gives one clear line on stderr, exit status 2 for
# usage errors and 1 for bad data, never a hang or a crash, and leaves the
# outputs of an earlier run untouched.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
IN=$T/in
O=$T/out
mkdir -p "$O"
for f in table_000.h table_001.h diag_000.txt; do echo "earlier $f" >"$O/$f"; done

outputs_untouched() {
  for f in table_000.h table_001.h diag_000.txt; do
    [ "$(cat "$O/$f")" = "earlier $f" ] || fail "$1: $f was changed"
  done
  if ls -A "$O" | grep -q tmp; then fail "$1: temporary file left behind: $(ls -A "$O")"; fi
}

RAW="--width 520 --height 384 --bits 10 --pattern RGGB"
GOOD="run --base $IN/base.h --stats $IN/stats_000.txt --out-dir $O --debug"

# Missing files.
expect_error 1 "$IN/nope.h: cannot open an LSC table header file: No such file or directory" \
  run --base "$IN/nope.h" --stats "$IN/stats_000.txt" --out-dir "$O" --debug
expect_error 1 "$IN/nope.txt: cannot open a statistics dump" \
  run --base "$IN/base.h" --stats "$IN/stats_000.txt" "$IN/nope.txt" --out-dir "$O"
expect_error 1 "$IN/nope.h: cannot open a tuning header file" $GOOD --tuning "$IN/nope.h"
expect_error 1 "$IN/nope.raw: cannot open a raw frame" \
  run --base "$IN/base.h" --raw "$IN/nope.raw" $RAW --out-dir "$O"
outputs_untouched "missing files"

# Raw frames of the wrong size, for their dimensions or their layout.
expect_error 1 "$IN/raw_000.raw: raw frame of 399360 bytes, expected 400896 for 522x384 unpacked 16-bit" \
  run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 522 --height 384 --bits 10 --pattern RGGB --out-dir "$O"
expect_error 1 "$IN/raw_000.raw: raw frame of 399360 bytes, expected 251904 for 520x384 RAW10 MIPI" \
  run --base "$IN/base.h" --raw "$IN/raw_000.raw" $RAW --mipi --out-dir "$O"
expect_error 1 "$IN/mipi_000.raw: raw frame of 251904 bytes" \
  stats --raw "$IN/mipi_000.raw" $RAW --out "$O/table_000.h"
outputs_untouched "wrong size raw"

# Truncated and malformed tables; a table without a marker must not hang the loader.
head -c 3000 "$IN/base.h" >"$T/truncated.h"
grep -v "GB Gain" "$IN/base.h" >"$T/no_marker.h"
sed 's/$/\r/' "$IN/base.h" >"$T/crlf.h"
: >"$T/empty.h"
expect_error 1 "$T/truncated.h: not a valid LSC table header file" \
  run --base "$T/truncated.h" --stats "$IN/stats_000.txt" --out-dir "$O"
for f in no_marker crlf empty; do
  expect_error 1 "$T/$f.h: not a valid LSC table header file" \
    run --base "$T/$f.h" --stats "$IN/stats_000.txt" --out-dir "$O"
  expect_error 1 "$T/$f.h: not a valid LSC table header file" table "$T/$f.h"
done
outputs_untouched "bad tables"

# Tuning files with a token that is not a number, in a grid and in a value line.
awk '/\[BUL\]/ { grid = 1 } grid && !done && /\{ *-?[0-9]/ { sub(/-?[0-9][0-9.e-]*/, "abc"); done = 1 } { print }' \
  "$IN/tuning.h" >"$T/bad_grid_token.h"
sed 's/^  0.0500000007,/  smooth,/' "$IN/tuning.h" >"$T/bad_value_line.h"
head -c 5000 "$IN/tuning.h" >"$T/truncated_tuning.h"
for f in bad_grid_token bad_value_line truncated_tuning; do
  cmp -s "$T/$f.h" "$IN/tuning.h" && fail "fixture $f is not broken"
  expect_error 1 "$T/$f.h: not a valid tuning header file" $GOOD --tuning "$T/$f.h"
done
outputs_untouched "bad tuning"

# Statistics dumps: truncated, a token that is not hexadecimal, a raw frame given as dump.
head -c 20000 "$IN/stats_000.txt" >"$T/truncated.txt"
sed 's/0x[0-9a-f]*\t/zz\t/5' "$IN/stats_000.txt" >"$T/bad_token.txt"
for f in "$T/truncated.txt" "$T/bad_token.txt" "$IN/raw_000.raw"; do
  expect_error 1 "$f: not a valid statistics dump" \
    run --base "$IN/base.h" --stats "$f" --out-dir "$O" --debug
done
outputs_untouched "bad statistics"

# Override map with a value that is not a number.
printf 'smooth_thd = 0.05\nlimit_thd = abc\n' >"$T/override.txt"
expect_error 1 "$T/override.txt: line 2: value 'abc' of limit_thd is not a number" $GOOD --override "$T/override.txt"
outputs_untouched "bad override"

# A directory where a file belongs.
expect_error 1 "$IN: is a directory, expected an LSC table header file" \
  run --base "$IN" --stats "$IN/stats_000.txt" --out-dir "$O"
expect_error 1 "$IN: is a directory, expected a statistics dump" \
  run --base "$IN/base.h" --stats "$IN" --out-dir "$O"
expect_error 1 "$IN: is a directory, expected a diagnostic dump" view "$IN" --out-dir "$O"
outputs_untouched "directories"

# Output directories that cannot be written.
expect_error 1 "$IN/base.h/sub: cannot create directory: Not a directory" \
  run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$IN/base.h/sub"
expect_error 1 "$IN/base.h: cannot use as output directory: not a directory" \
  run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$IN/base.h"
mkdir "$O/table_000.h.d" && mv "$O/table_000.h" "$T/kept" && mkdir "$O/table_000.h"
expect_error 1 "$O/table_000.h: cannot replace: Is a directory" \
  run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$O"
rmdir "$O/table_000.h" "$O/table_000.h.d" && mv "$T/kept" "$O/table_000.h"
if [ "$(id -u)" -ne 0 ]; then
  mkdir "$T/readonly" && chmod 555 "$T/readonly"
  expect_error 1 "$T/readonly/table_000.h: cannot create a file in $T/readonly: Permission denied" \
    run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$T/readonly"
fi
outputs_untouched "unwritable outputs"

# Usage errors: exit status 2, nothing touched.
expect_error 2 "mirvo run: --pattern: unknown Bayer pattern 'rggb'" \
  run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern rggb --out-dir "$O"
expect_error 2 "mirvo stats: --pattern: unknown Bayer pattern 'XYZW'" \
  stats --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern XYZW --out "$O/s.txt"
expect_error 2 "mirvo run: missing --out-dir" run --base "$IN/base.h" --stats "$IN/stats_000.txt"
expect_error 2 "mirvo run: give either --stats FILE... or --raw FILE..." run --base "$IN/base.h" --out-dir "$O"
expect_error 2 "mirvo run: --width: 'wide' is not an integer" \
  run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width wide --height 384 --bits 10 --pattern RGGB --out-dir "$O"
expect_error 2 "mirvo run: --bits: 16 is out of range (1 to 14)" \
  run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 16 --pattern RGGB --out-dir "$O"
expect_error 2 "mirvo run: --grid: the engine takes only 32x24 statistics" \
  run --base "$IN/base.h" --raw "$IN/raw_000.raw" $RAW --grid 16x12 --out-dir "$O"
expect_error 2 "mirvo run: --crop: give six numbers" $GOOD --crop 1,2,3
expect_error 2 "mirvo run: unknown option --frobnicate" $GOOD --frobnicate
expect_error 2 "mirvo: unknown command 'frobnicate'" frobnicate
outputs_untouched "usage errors"

# A bad frame in the middle: the frames before it are written, the rest untouched.
expect_error 1 "$T/truncated.txt: not a valid statistics dump" \
  run --base "$IN/base.h" --stats "$IN/stats_000.txt" "$T/truncated.txt" "$IN/stats_001.txt" --out-dir "$O"
[ "$(cat "$O/table_000.h")" != "earlier table_000.h" ] || fail "frame 0 before the bad frame was not written"
grep -q "/\* R Gain \*/" "$O/table_000.h" || fail "frame 0 table is not a table"
[ "$(cat "$O/table_001.h")" = "earlier table_001.h" ] || fail "bad frame 1 replaced its table"
if ls -A "$O" | grep -q tmp; then fail "temporary file left behind after a failed frame"; fi

# The malformed inputs of the other commands.
printf 'prj_u=\n0.5\n\nGradH_UX[24][31]=\n1 2 3\n' >"$T/short_diag.txt"
expect_error 1 "$T/short_diag.txt: line 5: grid GradH_UX[24][31] does not hold 744 values" \
  view "$T/short_diag.txt" --out-dir "$O/view"
[ -e "$O/view" ] && fail "view created its output directory for a bad dump"
finish

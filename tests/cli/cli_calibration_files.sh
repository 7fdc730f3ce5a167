# Bad files against calibrate, learn and table --import: one line naming the
# file and the problem, exit status 1 (2 for usage), earlier outputs left as
# they were and no temporary file behind.
. "$(dirname "$0")/cli_test_lib.sh"
LSC=$DATA/lsc/rkisp1_imx258.json
RAW="--width 1024 --height 768 --bits 10 --pattern RGGB --black-level 1024"
O=$T/out
mkdir -p "$O" "$T/dir"
run_mirvo table --import "$LSC" --ct 2856 --out "$T/a.h"
[ "$STATUS" -eq 0 ] || fail "import at 2856 K: $(cat "$ERR")"
run_mirvo table --import "$LSC" --ct 7504 --out "$T/b.h"
[ "$STATUS" -eq 0 ] || fail "import at 7504 K: $(cat "$ERR")"
for f in t.h l.h c.h; do echo earlier >"$O/$f"; done
: >"$T/empty"
head -c 3000 "$T/a.h" >"$T/cut.h"
head -c 300 "$LSC" >"$T/cut.json"
printf '\xff\xfe{"sets": 1}' >"$T/binary.json"
truncate -s 3G "$T/huge"

expect_error 1 "$T/nope: cannot open a JSON calibration" table --import "$T/nope" --out "$O/t.h"
expect_error 1 "$T/empty: is empty, expected a JSON calibration" table --import "$T/empty" --out "$O/t.h"
expect_error 1 "$T/dir: is a directory, expected a JSON calibration" table --import "$T/dir" --out "$O/t.h"
expect_error 1 "$T/huge: file of 3221225472 bytes is too large for a JSON calibration" \
  table --import "$T/huge" --out "$O/t.h"
expect_error 1 "$T/cut.json: not valid JSON" table --import "$T/cut.json" --ct 5000 --out "$O/t.h"
expect_error 1 "$T/binary.json: not valid JSON" table --import "$T/binary.json" --out "$O/t.h"
expect_error 2 "mirvo table: --ct: 'warm' is not an integer" table --import "$LSC" --ct warm --out "$O/t.h"
expect_error 2 "mirvo table: missing --out" table --import "$LSC" --ct 5000

expect_error 1 "$T/nope: cannot open an LSC table header file" learn --table "$T/a.h" "$T/nope" --out "$O/l.h"
expect_error 1 "$T/cut.h: not a valid LSC table header file" learn --table "$T/a.h" "$T/cut.h" --out "$O/l.h"
expect_error 1 "$LSC: not a valid LSC table header file" learn --table "$T/a.h" "$LSC" --out "$O/l.h"
expect_error 1 "$T/a.h: not a valid tuning header file" learn --table "$T/a.h" "$T/b.h" --tuning "$T/a.h" \
  --out "$O/l.h"
expect_error 2 "mirvo learn: --reference: '$T/c.h' is not one of the --table files" \
  learn --table "$T/a.h" "$T/b.h" --reference "$T/c.h" --out "$O/l.h"

expect_error 1 "$T/nope: cannot open a raw frame" calibrate --raw "$T/nope" $RAW --out "$O/c.h"
expect_error 1 "$T/empty: is empty, expected a raw frame" calibrate --raw "$T/empty" $RAW --out "$O/c.h"
expect_error 1 "$T/a.h: raw frame of" calibrate --raw "$T/a.h" $RAW --out "$O/c.h"
expect_error 2 "mirvo calibrate: --luminance-strength: '1.5' is not a number from 0 to 1" \
  calibrate --raw "$T/a.h" $RAW --luminance-strength 1.5 --out "$O/c.h"
expect_error 2 "mirvo calibrate: --grid: the measurement grid is fixed" \
  calibrate --raw "$T/a.h" $RAW --grid 32x24 --out "$O/c.h"

# Outputs that cannot be written: the work is done, nothing appears.
expect_error 1 "$T/missing/t.h: cannot create a file in $T/missing" \
  table --import "$LSC" --ct 5000 --out "$T/missing/t.h"
expect_error 1 "$O: is a directory, cannot write a file there" learn --table "$T/a.h" "$T/b.h" --out "$O"

for f in t.h l.h c.h; do [ "$(cat "$O/$f")" = earlier ] || fail "earlier $f changed"; done
stray=$(find "$O" "$T" -name '.*.tmp.*')
[ -z "$stray" ] || fail "temporary files left behind: $stray"
finish

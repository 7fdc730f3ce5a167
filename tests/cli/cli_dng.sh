# DNG in and out: table --into-dng / --from-dng round trips for every CFA
# order and several sizes, mirvo dng, stats --dng, and the refusals.
#   cli_dng.sh MIRVO MAKE_FLAT_DNG DATA_DIR [darktable]
# With "darktable": a vignetted flat field corrected through --into-dng with
# the exact inverse table must come out of darktable-cli flat (every
# channel's corners within 2 % of the centre), the uncorrected one not; exit
# 77 when darktable-cli is not installed.
. "$(dirname "$0")/cli_test_lib.sh"
MAKE_FLAT_DNG=$MAKE_FIXTURES

if [ "${4:-}" = darktable ]; then
  command -v darktable-cli >/dev/null || { echo "SKIP: darktable-cli is not installed (Debian package darktable)"; exit 77; }
  "$MAKE_FLAT_DNG" "$T/flat.dng" "$T/inverse.h" || exit 1
  run_mirvo table "$T/inverse.h" --into-dng "$T/flat.dng" --out "$T/corrected.dng"
  [ "$STATUS" -eq 0 ] || fail "--into-dng: $(cat "$ERR")"
  for f in flat corrected; do
    # Linear output, no workflow modules, a fresh configuration, no library.
    timeout 240 darktable-cli "$T/$f.dng" "$T/$f.tif" --icc-type LIN_REC709 --apply-custom-presets false \
      --core --configdir "$T/config_$f" --library :memory: --conf plugins/darkroom/workflow=none \
      --conf plugins/imageio/format/tiff/bpp=32 >"$T/$f.log" 2>&1 || fail "darktable-cli $f: $(tail -3 "$T/$f.log")"
    timeout 240 darktable-cli "$T/$f.dng" "$T/$f.pfm" --icc-type LIN_REC709 --apply-custom-presets false \
      --core --configdir "$T/config_$f" --library :memory: --conf plugins/darkroom/workflow=none \
      >>"$T/$f.log" 2>&1 || fail "darktable-cli $f: $(tail -3 "$T/$f.log")"
  done
  # The exported history: rawprepare's last parameter is its flat-field
  # mode, 1 when it applies the embedded GainMaps.
  params() { tr '\n' ' ' <"$1" | grep -ao 'operation="rawprepare"[^/]*params="[0-9a-f]*"' | grep -o 'params="[0-9a-f]*"'; }
  case "$(params "$T/corrected.tif")" in *01000000\") ;; *) fail "darktable did not apply the GainMaps: $(params "$T/corrected.tif")" ;; esac
  case "$(params "$T/flat.tif")" in *00000000\") ;; *) fail "darktable applied GainMaps to a file without: $(params "$T/flat.tif")" ;; esac
  /usr/bin/python3 - "$T/flat.pfm" "$T/corrected.pfm" <<'PY' || fail "flatness"
import array, sys
def pfm(path):
    with open(path, "rb") as f:
        assert f.readline().strip() == b"PF"
        w, h = map(int, f.readline().split())
        scale = float(f.readline())
        a = array.array("f")
        a.frombytes(f.read(w * h * 12))
    if (scale < 0) != (sys.byteorder == "little"):
        a.byteswap()
    return w, h, a
def patch(w, h, a, cy, cx):
    r = max(2, h // 40)
    y0, x0 = int(cy * h), int(cx * w)
    s = [0.0, 0.0, 0.0]
    for y in range(y0 - r, y0 + r):
        for x in range(x0 - r, x0 + r):
            for c in range(3):
                s[c] += a[(y * w + x) * 3 + c]
    return [v / (4 * r * r) for v in s]
worst = []
for path in sys.argv[1:]:
    w, h, a = pfm(path)
    centre = patch(w, h, a, 0.5, 0.5)
    dev = [0.0, 0.0, 0.0]
    for cy in (0.06, 0.94):
        for cx in (0.06, 0.94):
            corner = patch(w, h, a, cy, cx)
            dev = [max(d, abs(k / c - 1)) for d, k, c in zip(dev, corner, centre)]
    print(path.rsplit("/", 1)[-1], "corner/centre off by at most", " ".join("%.4f" % d for d in dev))
    worst.append(max(dev))
sys.exit(0 if worst[0] > 0.2 and worst[1] < 0.02 else 1)
PY
  finish
fi

# Round trips: a table into a DNG and back out is the same table file, for
# every CFA order and several frame sizes.
for case in "640 480 RGGB" "320 240 GRBG" "258 194 GBRG" "1000 750 BGGR"; do
  set -- $case
  "$MAKE_FLAT_DNG" "$T/f.dng" "$T/t.h" "$1" "$2" "$3" || fail "fixture $case"
  run_mirvo table "$T/t.h" --into-dng "$T/f.dng" --out "$T/o.dng"
  [ "$STATUS" -eq 0 ] || fail "--into-dng $case: $(cat "$ERR")"
  run_mirvo table --from-dng "$T/o.dng" --out "$T/back.h"
  [ "$STATUS" -eq 0 ] || fail "--from-dng $case: $(cat "$ERR")"
  cmp -s "$T/t.h" "$T/back.h" || fail "$case: the table does not come back"
  run_mirvo dng "$T/o.dng"
  grep -q "^$T/o.dng: Bayer DNG, $1x$2 active area at 0,0 of $1x$2 stored, $3, uncompressed" "$OUT" ||
    fail "mirvo dng $case: $(head -1 "$OUT")"
  [ "$(grep -c 'pitch 2x2 plane 0: 13x17 points, spacing 0.0833333 0.0625, origin 0 0' "$OUT")" -eq 4 ] ||
    fail "mirvo dng $case maps: $(cat "$OUT")"
done
# The DNG's statistics as a dump run reads.
run_mirvo stats --dng "$T/o.dng" --out "$T/s.txt"
[ "$STATUS" -eq 0 ] && grep -q '32x24 cells, 14 bits' "$OUT" || fail "stats --dng: $(cat "$OUT" "$ERR")"

# A folder of DNGs through run: each frame's own GainMap is its base; a frame
# without one needs --base. calibrate finds the vignetting the files were made with.
"$MAKE_FLAT_DNG" "$T/plain.dng" "$T/truth.h" 640 480 BGGR || fail "fixture"
for i in 0 1 2; do
  run_mirvo table "$T/truth.h" --into-dng "$T/plain.dng" --out "$T/phone_$i.dng"
done
run_mirvo run --dng "$T/phone_0.dng" "$T/phone_1.dng" "$T/phone_2.dng" --out-dir "$T/run"
[ "$STATUS" -eq 0 ] && [ -s "$T/run/table_002.h" ] && [ -s "$T/run/summary.json" ] || fail "run --dng: $(cat "$ERR")"
expect_error 1 "no GainMap to take as the base table; give --base" run --dng "$T/plain.dng" --out-dir "$T/run2"
run_mirvo run --dng "$T/plain.dng" --base "$T/truth.h" --out-dir "$T/run3"
[ "$STATUS" -eq 0 ] || fail "run --dng --base: $(cat "$ERR")"
# Pictures: a DNG's own GainMap renders as that table given by hand, and takes
# the vignetting out; before and after pictures of a run over DNGs.
run_mirvo preview --dng "$T/phone_0.dng" --out "$T/own.png"
[ "$STATUS" -eq 0 ] || fail "preview --dng: $(cat "$ERR")"
run_mirvo preview --dng "$T/plain.dng" --table "$T/truth.h" --out "$T/given.png"
cmp -s "$T/own.png" "$T/given.png" || fail "preview --dng: its GainMap is not the table it holds"
run_mirvo run --dng "$T/phone_0.dng" "$T/phone_1.dng" --preview --out-dir "$T/run4"
[ "$STATUS" -eq 0 ] && grep -q '"before_rms"' "$T/run4/preview/index.json" && [ -s "$T/run4/preview/frame_0000_before.jpg" ] ||
  fail "run --dng --preview: $(cat "$ERR")"
expect_error 2 "--width cannot go with --dng" preview --dng "$T/plain.dng" --width 64 --out "$T/x.png"
run_mirvo calibrate --dng "$T/plain.dng" --out "$T/cal.h"
[ "$STATUS" -eq 0 ] || fail "calibrate --dng: $(cat "$ERR")"
# Each plane normalised to a smallest gain of 1, as the truth is: within 1 %.
paste <(grep -o '[0-9.]*f' "$T/truth.h") <(grep -o '[0-9.]*f' "$T/cal.h") | tr -d f |
  awk '{ d = $2 / $1 - 1; if (d < 0) d = -d; if (d > m) m = d } END { exit !(NR == 884 && m < 0.01) }' ||
  fail "calibrate --dng does not recover the vignetting"

expect_error 2 "--pattern cannot go with --dng" stats --dng "$T/o.dng" --pattern RGGB --out "$T/x.txt"
expect_error 1 "no GainMap in OpcodeList2 or OpcodeList3" table --from-dng "$T/f.dng" --out "$T/x.h"
expect_error 1 "not a TIFF/DNG file" table "$T/t.h" --into-dng "$T/t.h" --out "$T/x.dng"
[ -e "$T/x.dng" ] && fail "a refused --into-dng left an output"
REAL=${MIRVO_DNG_DATA_DIR:-$(dirname "$0")/../../../shared/data/more/dng}
if [ -d "$REAL" ]; then
  expect_error 1 "pixel data truncated" dng "$REAL/canon350d_adobe_truncated.dng"
  expect_error 1 "not a Bayer CFA image (LinearRaw" stats --dng "$REAL/lgh815_adobe_lossy_linearraw.dng" --out "$T/x.txt"
fi
finish

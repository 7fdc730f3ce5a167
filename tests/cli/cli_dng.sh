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
  ok table "$T/inverse.h" --into-dng "$T/flat.dng" --out "$T/corrected.dng"
  # Linear output, no workflow modules, a fresh configuration, no library;
  # the TIFF for its history, the PFM for its pixels.
  for f in flat corrected; do
    for ext in tif pfm; do
      timeout 240 darktable-cli "$T/$f.dng" "$T/$f.$ext" --icc-type LIN_REC709 --apply-custom-presets false --core \
        --configdir "$T/config_$f" --library :memory: --conf plugins/darkroom/workflow=none \
        --conf plugins/imageio/format/tiff/bpp=32 >>"$T/$f.log" 2>&1 || fail "darktable-cli $f: $(tail -3 "$T/$f.log")"
    done
  done
  # rawprepare's last parameter is its flat-field mode, 1 when it applies the embedded GainMaps.
  params() { tr '\n' ' ' <"$1" | grep -ao 'operation="rawprepare"[^/]*params="[0-9a-f]*"' | grep -o 'params="[0-9a-f]*"'; }
  case "$(params "$T/corrected.tif")" in *01000000\") ;; *) fail "GainMaps not applied: $(params "$T/corrected.tif")" ;; esac
  case "$(params "$T/flat.tif")" in *00000000\") ;; *) fail "GainMaps applied to a file without: $(params "$T/flat.tif")" ;; esac
  /usr/bin/python3 - "$T/flat.pfm" "$T/corrected.pfm" <<'PY' || fail "flatness"
import sys
import numpy as np
worst = []
for path in sys.argv[1:]:
    with open(path, "rb") as f:
        assert f.readline().strip() == b"PF"
        w, h = map(int, f.readline().split())
        a = np.fromfile(f, "<f4" if float(f.readline()) < 0 else ">f4", w * h * 3).reshape(h, w, 3)
    r = max(2, h // 40)
    patch = lambda cy, cx: a[int(cy * h) - r:int(cy * h) + r, int(cx * w) - r:int(cx * w) + r].mean(axis=(0, 1))
    dev = np.max([np.abs(patch(cy, cx) / patch(0.5, 0.5) - 1) for cy in (0.06, 0.94) for cx in (0.06, 0.94)], axis=0)
    print(path.rsplit("/", 1)[-1], "corner/centre off by at most", " ".join("%.4f" % d for d in dev))
    worst.append(dev.max())
sys.exit(0 if worst[0] > 0.2 and worst[1] < 0.02 else 1)
PY
  finish
  exit
fi

# Round trips: a table into a DNG and back out is the same table file, for
# every CFA order and several frame sizes.
for case in "640 480 RGGB" "320 240 GRBG" "258 194 GBRG" "1000 750 BGGR"; do
  set -- $case
  "$MAKE_FLAT_DNG" "$T/f.dng" "$T/t.h" "$1" "$2" "$3" || fail "fixture $case"
  ok table "$T/t.h" --into-dng "$T/f.dng" --out "$T/o.dng"
  ok table --from-dng "$T/o.dng" --out "$T/back.h"
  cmp -s "$T/t.h" "$T/back.h" || fail "$case: the table does not come back"
  ok dng "$T/o.dng"
  grep -q "^$T/o.dng: Bayer DNG, $1x$2 active area at 0,0 of $1x$2 stored, $3, uncompressed" "$OUT" &&
    [ "$(grep -c 'pitch 2x2 plane 0: 13x17 points, spacing 0.0833333 0.0625, origin 0 0' "$OUT")" -eq 4 ] ||
    fail "mirvo dng $case: $(cat "$OUT")"
done
# The DNG's statistics as a dump run reads.
ok stats --dng "$T/o.dng" --out "$T/s.txt" && grep -q '32x24 cells, 14 bits' "$OUT" || fail "stats --dng: $(cat "$OUT")"

# A folder of DNGs through run: each frame's own GainMap is its base; a frame
# without one needs --base. calibrate finds the vignetting the files were made with.
"$MAKE_FLAT_DNG" "$T/plain.dng" "$T/truth.h" 640 480 BGGR || fail "fixture"
for i in 0 1 2; do ok table "$T/truth.h" --into-dng "$T/plain.dng" --out "$T/phone_$i.dng"; done
ok run --dng "$T/phone_0.dng" "$T/phone_1.dng" "$T/phone_2.dng" --out-dir "$T/run"
[ -s "$T/run/table_002.h" ] && [ -s "$T/run/summary.json" ] || fail "run --dng wrote no tables"
expect_error 1 "no GainMap to take as the base table; give --base" run --dng "$T/plain.dng" --out-dir "$T/run2"
ok run --dng "$T/plain.dng" --base "$T/truth.h" --out-dir "$T/run3"
# Pictures: a DNG's own GainMap renders as that table given by hand; before
# and after pictures of a run over DNGs.
ok preview --dng "$T/phone_0.dng" --out "$T/own.png"
ok preview --dng "$T/plain.dng" --table "$T/truth.h" --out "$T/given.png"
cmp -s "$T/own.png" "$T/given.png" || fail "preview --dng: its GainMap is not the table it holds"
ok run --dng "$T/phone_0.dng" "$T/phone_1.dng" --preview --out-dir "$T/run4"
grep -q '"before_rms"' "$T/run4/preview/index.json" && [ -s "$T/run4/preview/frame_0000_before.jpg" ] ||
  fail "run --dng --preview wrote no pictures"
ok calibrate --dng "$T/plain.dng" --out "$T/cal.h"
# Each plane normalised to a smallest gain of 1, as the truth is: within 1 %.
paste <(grep -o '[0-9.]*f' "$T/truth.h") <(grep -o '[0-9.]*f' "$T/cal.h") | tr -d f |
  awk '{ d = $2 / $1 - 1; if (d < 0) d = -d; if (d > m) m = d } END { exit !(NR == 884 && m < 0.01) }' ||
  fail "calibrate --dng does not recover the vignetting"

expect_error 2 "--width cannot go with --dng" preview --dng "$T/plain.dng" --width 64 --out "$T/x.png"
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

# The demo needs no input, removes most of the residual colour shading, and
# writes what run writes: run on its files reproduces its tables.
. "$(dirname "$0")/cli_test_lib.sh"
D=$T/demo
run_mirvo demo --out-dir "$D" --frames 6 --save-raw
[ "$STATUS" -eq 0 ] || fail "demo failed ($STATUS): $(cat "$ERR")"
[ -s "$ERR" ] && fail "demo wrote to stderr: $(cat "$ERR")"
cp "$OUT" "$T/demo.txt"
last=$(tail -n 1 "$T/demo.txt")
echo "$last"
echo "$last" | grep -Eq '^residual colour shading: before [0-9]+\.[0-9]+%, after [0-9]+\.[0-9]+%$' ||
  fail "last line has the wrong form: $last"
before=$(echo "$last" | sed -E 's/.*before ([0-9.]+)%.*/\1/')
after=$(echo "$last" | sed -E 's/.*after ([0-9.]+)%.*/\1/')
# Clearly below: at most two thirds of what the base table leaves.
awk -v b="$before" -v a="$after" 'BEGIN { exit !(b > 0.2 && a < b * 2 / 3) }' ||
  fail "residual not clearly reduced: before $before%, after $after%"
[ "$(grep -c '^frame [0-9][0-9][0-9]: prj_u [-+][0-9.]*, prj_v [-+][0-9.]*; residual colour shading' "$T/demo.txt")" -eq 6 ] ||
  fail "expected one line per frame with the projections: $(cat "$T/demo.txt")"
# The residual goes down over the sequence, as the temporal filter converges.
first_after=$(grep '^frame 000' "$T/demo.txt" | sed -E 's/.*-> ([0-9.]+)%.*/\1/')
awk -v f="$first_after" -v a="$after" 'BEGIN { exit !(a < f) }' || fail "no progress from frame 0 ($first_after%) to the last ($after%)"

for k in 000 005; do
  for f in table_$k.h stats_$k.txt tint_$k.png table_$k.png frame_$k.raw; do
    [ -s "$D/$f" ] || fail "demo did not write $f"
  done
done
[ -s "$D/base.h" ] || fail "demo did not write base.h"
# Its pictures: the last frame's colour shading measured on the rendered
# frame is lower with the engine's table than with the base table.
/usr/bin/python3 - "$D/preview/index.json" <<'PYEOF' || fail "demo's previews do not show the correction working"
import json, sys
last = json.load(open(sys.argv[1]))["frames"][-1]
print(f"demo previews: frame {last['index']}: {last['before_rms']:.4f} before, {last['after_rms']:.4f} after")
sys.exit(0 if last["index"] == 5 and last["after_rms"] < 0.8 * last["before_rms"] else 1)
PYEOF

# Same tables from its statistics dumps and from its raw frames through run.
run_mirvo run --base "$D/base.h" --stats "$D"/stats_*.txt --out-dir "$T/from_stats"
[ "$STATUS" -eq 0 ] || fail "run on the demo's dumps failed: $(cat "$ERR")"
run_mirvo run --base "$D/base.h" --raw "$D"/frame_*.raw --width 1008 --height 756 --bits 10 --pattern RGGB \
  --black-level 1024 --out-dir "$T/from_raw"
[ "$STATUS" -eq 0 ] || fail "run on the demo's raw frames failed: $(cat "$ERR")"
for k in 000 003 005; do
  cmp -s "$D/table_$k.h" "$T/from_stats/table_$k.h" || fail "run on dumps differs from the demo at frame $k"
  cmp -s "$D/table_$k.h" "$T/from_raw/table_$k.h" || fail "run on raw frames differs from the demo at frame $k"
done

# Deterministic: a second demo writes the same tables.
run_mirvo demo --out-dir "$T/again" --frames 2 --no-png
cmp -s "$D/table_001.h" "$T/again/table_001.h" || fail "demo is not deterministic"
[ -e "$T/again/tint_000.png" ] && fail "--no-png still drew pictures"
finish

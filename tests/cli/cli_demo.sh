# The demo needs no input, removes most of the residual colour shading, and
# writes what run writes: run on its files reproduces its tables.
. "$(dirname "$0")/cli_test_lib.sh"
D=$T/demo
ok demo --out-dir "$D" --frames 6 --save-raw
[ -s "$ERR" ] && fail "demo wrote to stderr: $(cat "$ERR")"
tail -n 1 "$OUT"
# The last line: clearly below, at most two thirds of what the base table
# leaves; the residual goes down from frame 0 as the temporal filter converges.
/usr/bin/python3 - "$OUT" <<'PYEOF' || fail "demo's lines: $(cat "$OUT")"
import re, sys
lines = open(sys.argv[1]).read().splitlines()
frames = [float(m[1]) for m in map(re.compile(r"frame \d{3}: prj_u [-+][\d.]+, prj_v [-+][\d.]+; residual colour "
                                              r"shading .* -> ([\d.]+)%").match, lines) if m]
before, after = map(float, re.fullmatch(r"residual colour shading: before (\d+\.\d+)%, after (\d+\.\d+)%", lines[-1]).groups())
sys.exit(0 if len(frames) == 6 and before > 0.2 and after < before * 2 / 3 and after < frames[0] else 1)
PYEOF
for f in base.h table_000.h stats_000.txt tint_000.png table_000.png frame_000.raw table_005.h frame_005.raw; do
  [ -s "$D/$f" ] || fail "demo did not write $f"
done
# Its pictures: the last frame's colour shading measured on the rendered
# frame is lower with the engine's table than with the base table.
/usr/bin/python3 - "$D/preview/index.json" <<'PYEOF' || fail "demo's previews do not show the correction working"
import json, sys
last = json.load(open(sys.argv[1]))["frames"][-1]
print(f"demo previews: frame {last['index']}: {last['before_rms']:.4f} before, {last['after_rms']:.4f} after")
sys.exit(0 if last["index"] == 5 and last["after_rms"] < 0.8 * last["before_rms"] else 1)
PYEOF
# Same tables from its statistics dumps and from its raw frames through run;
# a second demo writes the same tables.
ok run --base "$D/base.h" --stats "$D"/stats_*.txt --out-dir "$T/from_stats"
ok run --base "$D/base.h" --raw "$D"/frame_*.raw --width 1008 --height 756 --bits 10 --pattern RGGB \
  --black-level 1024 --out-dir "$T/from_raw"
ok demo --out-dir "$T/again" --frames 2 --no-png
for k in 000 001 003 005; do
  for from in from_stats from_raw again; do
    [ $k != 001 ] && [ $from = again ] || cmp -s "$D/table_$k.h" "$T/$from/table_$k.h" || fail "$from differs at frame $k"
  done
done
[ -e "$T/again/tint_000.png" ] && fail "--no-png still drew pictures"
finish

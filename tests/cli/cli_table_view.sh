# table summarises, exports and draws a table; stats builds a dump that run takes.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
IN=$T/in
TABLE=$DATA/ov8858_d50_lsc.h
run_mirvo table "$TABLE" --sim "$T/table.sim" --png "$T/table.png"
[ "$STATUS" -eq 0 ] || fail "table failed: $(cat "$ERR")"
# Measured table: centre gains 1, the red corners near 4, so about 25% illumination left there.
grep -Eq '^R +1\.00000 +3\.99902 +1\.00000 +3\.94214 +25\.4%$' "$OUT" || fail "R line: $(cat "$OUT")"
grep -Eq '^Gr +1\.00000 +3\.05273 ' "$OUT" || fail "Gr line: $(cat "$OUT")"
grep -Eq '^B/G ' "$OUT" || fail "no B/G line"
[ "$(wc -l <"$T/table.sim")" -eq 29 ] || fail "simulator file has $(wc -l <"$T/table.sim") lines"
grep -qx 'MESH_TABLE_GB = ' "$T/table.sim" || fail "simulator file lacks its Gb block"
head -c 8 "$T/table.png" | od -An -c | grep -q 'P   N   G' || fail "table.png is not a PNG"

# Exporting over an existing file replaces it only when complete.
echo old >"$T/keep.sim"
run_mirvo table "$IN/nope.h" --sim "$T/keep.sim"
[ "$STATUS" -eq 1 ] && [ "$(cat "$T/keep.sim")" = old ] || fail "a failed table run touched its output"

# stats on a raw frame, unpacked and RAW10, gives dumps run reads; the mean image has 64x48 samples.
run_mirvo stats --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024 \
  --out "$T/s.txt" --mean-image "$T/mean.raw"
[ "$STATUS" -eq 0 ] || fail "stats failed: $(cat "$ERR")"
[ "$(stat -c %s "$T/mean.raw")" -eq $((64 * 48 * 2)) ] || fail "mean image size $(stat -c %s "$T/mean.raw")"
run_mirvo stats --raw "$IN/mipi_000.raw" --width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024 \
  --mipi --out "$T/m.txt"
cmp -s "$T/s.txt" "$T/m.txt" || fail "RAW10 and unpacked frames give different statistics"
run_mirvo run --base "$IN/base.h" --stats "$T/s.txt" --out-dir "$T/o1"
run_mirvo run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern RGGB \
  --black-level 1024 --out-dir "$T/o2"
cmp -s "$T/o1/table_000.h" "$T/o2/table_000.h" || fail "stats dump and raw frame give different tables"
# A coarser grid is fine for stats (not for the engine).
run_mirvo stats --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern RGGB --grid 16x12 --out "$T/g.txt"
[ "$STATUS" -eq 0 ] && [ "$(grep -o '0x' "$T/g.txt" | wc -l)" -eq $((16 * 12 * 8)) ] || fail "16x12 grid dump"
finish

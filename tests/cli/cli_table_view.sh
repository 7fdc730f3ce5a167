# table summarises, exports and draws a table; stats builds a dump that run
# takes; run --debug writes a dump a frame (none without it) and view draws
# every grid of it. What a dump holds is pinned by CliRun.DebugWritesTheLibrarysDumps.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
IN=$T/in RAW="--width 520 --height 384 --bits 10 --pattern RGGB --black-level 1024"
is_png() { head -c 8 "$1" | od -An -c | grep -q 'P   N   G' || fail "$1 is not a PNG"; }
ok table "$DATA/ov8858_d50_lsc.h" --sim "$T/table.sim" --png "$T/table.png"
# Measured table: centre gains 1, the red corners near 4, so about 25% illumination left there.
grep -Eq '^R +1\.00000 +3\.99902 +1\.00000 +3\.94214 +25\.4%$' "$OUT" && grep -Eq '^Gr +1\.00000 +3\.05273 ' "$OUT" &&
  grep -q '^B/G ' "$OUT" || fail "table's summary: $(cat "$OUT")"
[ "$(wc -l <"$T/table.sim")" -eq 29 ] && grep -qx 'MESH_TABLE_GB = ' "$T/table.sim" || fail "simulator file"
is_png "$T/table.png"
# stats on a raw frame, unpacked and RAW10, gives dumps run reads; the mean image has 64x48 samples.
ok stats --raw "$IN/raw_000.raw" $RAW --out "$T/s.txt" --mean-image "$T/mean.raw"
[ "$(stat -c %s "$T/mean.raw")" -eq $((64 * 48 * 2)) ] || fail "mean image size $(stat -c %s "$T/mean.raw")"
ok stats --raw "$IN/mipi_000.raw" $RAW --mipi --out "$T/m.txt"
cmp -s "$T/s.txt" "$T/m.txt" || fail "RAW10 and unpacked frames give different statistics"
ok run --base "$IN/base.h" --stats "$T/s.txt" --out-dir "$T/o1"
ok run --base "$IN/base.h" --raw "$IN/raw_000.raw" $RAW --out-dir "$T/o2"
cmp -s "$T/o1/table_000.h" "$T/o2/table_000.h" || fail "stats dump and raw frame give different tables"
ls "$T/o1" | grep -q diag && fail "diagnostic dump written without --debug"
# A coarser grid is fine for stats (not for the engine).
ok stats --raw "$IN/raw_000.raw" $RAW --grid 16x12 --out "$T/g.txt"
[ "$(grep -o '0x' "$T/g.txt" | wc -l)" -eq $((16 * 12 * 8)) ] || fail "16x12 grid dump"
ok run --debug --base "$IN/base.h" --stats "$IN/stats_000.txt" "$IN/stats_001.txt" --out-dir "$T/out"
[ -s "$T/out/diag_000.txt" ] && [ -s "$T/out/diag_001.txt" ] || fail "run --debug: no dump a frame"
ok view "$T/out/diag_001.txt" --out-dir "$T/view"
grep -qx 'smooth_thd = 0.04' "$OUT" || fail "view does not list the scalars: $(cat "$OUT")"
[ "$(ls "$T/view" | grep -c '\.png$')" -eq "$(grep -c '^$' "$T/out/diag_001.txt")" ] || fail "not one picture a grid"
for f in GradH_UX WX log_tint_u output_table_R is_reliable_dx_ lin_stat_count; do is_png "$T/view/$f.png"; done
finish

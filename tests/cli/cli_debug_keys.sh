# run --debug writes one diagnostic dump per frame holding the keys the
# pipeline records, and view draws every grid of it.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
IN=$T/in
run_mirvo run --debug --base "$IN/base.h" --stats "$IN/stats_000.txt" "$IN/stats_001.txt" --out-dir "$T/out"
[ "$STATUS" -eq 0 ] || fail "run --debug failed: $(cat "$ERR")"
for k in 000 001; do
  d=$T/out/diag_$k.txt
  [ -s "$d" ] || { fail "no $d"; continue; }
  for key in prj_u prj_v min_level_thd max_level_thd sat_ratio_thd smooth_thd limit_thd filter_input_stats \
    red_gain blue_gain; do
    grep -qx "$key=" "$d" || fail "$d lacks scalar $key"
  done
  for key in 'lin_stat_sum_R[24][32]' 'lin_stat_sum_B[24][32]' 'lin_stat_count[24][32]' 'lin_stat_sat_cnt_Gr[24][32]' \
    'base_table_R[13][17]' 'base_table_Gb[13][17]' 'lsc_log_RG_gain[24][32]' 'lsc_log_BG_gain[24][32]' \
    'log_u_input[24][32]' 'log_stats_V[24][32]' 'is_reliable_dx_[24][32]' 'is_reliable_dy_[24][32]' \
    'GradH_UX[24][31]' 'GradH_UY[23][32]' 'GradH_VX[24][31]' 'GradH_VY[23][32]' 'WX[24][31]' 'WY[23][32]' \
    'log_tint_u[13][17]' 'log_tint_v[13][17]' 'linear_tint_u[13][17]' 'linear_tint_v[13][17]' \
    'output_table_R[13][17]' 'output_table_Gr[13][17]' 'output_table_Gb[13][17]' 'output_table_B[13][17]'; do
    grep -qxF "$key=" "$d" || fail "$d lacks grid $key"
  done
  # Each grid line holds rows x cols values.
  n=$(grep -A1 -xF 'WX[24][31]=' "$d" | tail -n 1 | wc -w)
  [ "$n" -eq 744 ] || fail "WX[24][31] holds $n values"
done
# Without --debug no dump is written.
run_mirvo run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$T/plain"
ls "$T/plain" | grep -q diag && fail "diagnostic dump written without --debug"

run_mirvo view "$T/out/diag_001.txt" --out-dir "$T/view"
[ "$STATUS" -eq 0 ] || fail "view failed: $(cat "$ERR")"
grep -qx 'smooth_thd = 0.04' "$OUT" || fail "view does not list the scalars: $(cat "$OUT")"
grids=$(grep -c '^$' "$T/out/diag_001.txt")
pngs=$(ls "$T/view" | grep -c '\.png$')
[ "$pngs" -eq "$grids" ] || fail "view drew $pngs pictures for $grids grids"
for f in GradH_UX WX log_tint_u output_table_R is_reliable_dx_ lin_stat_count; do
  [ -s "$T/view/$f.png" ] || fail "view did not draw $f.png"
  head -c 8 "$T/view/$f.png" | od -An -c | grep -q 'P   N   G' || fail "$f.png is not a PNG"
done
finish

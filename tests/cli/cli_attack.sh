# One class of bad input against every command that reads or writes files:
#   cli_attack.sh MIRVO MAKE_FIXTURES DATA_DIR CLASS
# Each attack must give exactly one line on stderr naming the file and the
# problem, exit status 1 (bad data, I/O) or 2 (usage), within the time limit
# and without a crash, and must leave the outputs of an earlier run as they
# were, with no temporary file behind. Exit status 77: class skipped.
. "$(dirname "$0")/cli_test_lib.sh"
CLASS=$4
ulimit -c 0
make_fixtures
IN=$T/in
O=$T/out
RAW="--width 520 --height 384 --bits 10 --pattern RGGB"

# Runs that must succeed, to set the scene.
must() {
  run_mirvo "$@"
  [ "$STATUS" -eq 0 ] || { echo "setup failed: mirvo $* ($STATUS): $(cat "$ERR")" >&2; exit 1; }
}

# Inputs of the calibration commands in $C: a flat field of the fixture
# frames' size (every sample 600, black level 64), two base tables imported
# from a real calibration at two lights, and that calibration.
C=$T/cal
LSC=$DATA/lsc/rkisp1_imx258.json
make_calibration_inputs() {
  mkdir -p "$C"
  printf '\x58\x02' >"$C/flat.raw"
  for _ in $(seq 18); do cat "$C/flat.raw" "$C/flat.raw" >"$C/twice" && mv "$C/twice" "$C/flat.raw"; done
  head -c $((520 * 384 * 2)) "$C/flat.raw" >"$C/twice" && mv "$C/twice" "$C/flat.raw"
  cp "$LSC" "$C/cal.json"
  must table --import "$C/cal.json" --ct 2856 --out "$C/a.h"
  must table --import "$C/cal.json" --ct 7504 --out "$C/b.h"
}
make_calibration_inputs
FLAT=("$C/flat.raw" $RAW --black-level 1024)

# Earlier outputs of every writing command in DIR, and their checksums.
write_earlier() {
  local dir=$1
  must run --base "$IN/base.h" --stats "$IN/stats_000.txt" --debug --png --out-dir "$dir"
  must stats --raw "$IN/raw_000.raw" $RAW --out "$dir/s.txt" --mean-image "$dir/m.raw"
  must table "$IN/base.h" --sim "$dir/t.sim" --png "$dir/t.png"
  must view "$dir/diag_000.txt" --out-dir "$dir/view"
  must calibrate --raw "${FLAT[@]}" --png --out "$dir/c.h"
  must learn --table "$C/a.h" "$C/b.h" --out "$dir/l.h"
  must table --import "$C/cal.json" --ct 5000 --out "$dir/i.h"
  must report "$dir"
  checksum "$dir" >"$T/sums"
}

checksum() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum); }
# The run summary records each run's own timing, so it is left out where two
# runs are compared.
checksum_tables() { (cd "$1" && find . -type f ! -name 'summary.*' -print0 | sort -z | xargs -0 sha256sum); }

untouched() {
  local dir=$1 what=$2
  checksum "$dir" | cmp -s - "$T/sums" || fail "$what: earlier outputs in $dir changed"
  local stray
  stray=$(find "$dir" -name '.*.tmp.*')
  [ -z "$stray" ] || fail "$what: temporary files left behind: $stray"
}

# attack STATUS TEXT ARGS...: one failing run, earlier outputs in $O untouched.
attack() {
  expect_error "$@"
  untouched "$O" "mirvo ${*:3}"
}

# What each input is called in messages.
what() {
  case $1 in
    base | table) echo "an LSC table header file" ;;
    tuning) echo "a tuning header file" ;;
    override) echo "an override map file" ;;
    stats) echo "a statistics dump" ;;
    raw | stats-raw) echo "a raw frame" ;;
    view) echo "a diagnostic dump" ;;
  esac
}
TEXT_ROLES="base tuning override stats table view"
RAW_ROLES="raw stats-raw"
ROLES="$TEXT_ROLES $RAW_ROLES"

# feed ROLE FILE STATUS TEXT: FILE as that input of the command reading it,
# every output of the command aimed at the earlier ones.
feed() {
  local role=$1 f=$2 status=$3 text=$4
  local run=(--debug --png --out-dir "$O")
  case $role in
    base) attack "$status" "$text" run --base "$f" --stats "$IN/stats_000.txt" "${run[@]}" ;;
    tuning) attack "$status" "$text" run --base "$IN/base.h" --tuning "$f" --stats "$IN/stats_000.txt" "${run[@]}" ;;
    override) attack "$status" "$text" run --base "$IN/base.h" --override "$f" --stats "$IN/stats_000.txt" "${run[@]}" ;;
    stats) attack "$status" "$text" run --base "$IN/base.h" --stats "$f" "${run[@]}" ;;
    raw) attack "$status" "$text" run --base "$IN/base.h" --raw "$f" $RAW "${run[@]}" ;;
    stats-raw) attack "$status" "$text" stats --raw "$f" $RAW --out "$O/s.txt" --mean-image "$O/m.raw" ;;
    table) attack "$status" "$text" table "$f" --sim "$O/t.sim" --png "$O/t.png" ;;
    view) attack "$status" "$text" view "$f" --out-dir "$O/view" ;;
  esac
}

# cut FILE BYTES OUT: FILE without its last BYTES bytes.
cut_end() { head -c $(($(stat -c %s "$1") - $2)) "$1" >"$3"; }

# mount_tmpfs DIR OPTIONS: a small file system, unmounted on exit; fails
# with a message where mounting is not permitted.
mount_tmpfs() {
  mkdir -p "$1"
  if ! mount -t tmpfs -o "$2" tmpfs "$1" 2>"$T/mount.err"; then
    echo "SKIP: cannot mount a tmpfs at $1 ($(head -n 1 "$T/mount.err"))"
    return 1
  fi
  trap 'umount "'"$1"'"; rm -rf "$T"' EXIT
}

write_earlier "$O"
case $CLASS in
  missing)
    for role in $ROLES; do
      feed "$role" "$T/nope" 1 "$T/nope: cannot open $(what "$role"): No such file or directory"
    done
    # Every frame is checked before the first one runs.
    attack 1 "$T/nope.txt: cannot open a statistics dump" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" "$T/nope.txt" --debug --png --out-dir "$O"
    attack 2 "mirvo run: missing --base" run --stats "$IN/stats_000.txt" --out-dir "$O"
    attack 2 "mirvo run: missing --out-dir" run --base "$IN/base.h" --stats "$IN/stats_000.txt"
    attack 2 "mirvo run: give either --stats FILE... or --raw FILE..." run --base "$IN/base.h" --out-dir "$O"
    ;;

  empty)
    : >"$T/empty"
    for role in $ROLES; do feed "$role" "$T/empty" 1 "$T/empty: is empty, expected $(what "$role")"; done
    attack 2 "mirvo: empty file name given for an LSC table header file" table ""
    attack 2 "mirvo run: --base needs a value" run --base "" --stats "$IN/stats_000.txt" --out-dir "$O"
    attack 2 "mirvo run: --out-dir needs a value" run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir=
    ;;

  truncated)
    # Cut in the middle, and inside the last number, which the library's
    # readers would take as a shorter number.
    head -c 1000 "$IN/base.h" >"$T/mid.h"
    cut_end "$IN/base.h" 6 "$T/end.h"
    for role in base table; do
      feed $role "$T/mid.h" 1 "$T/mid.h: not a valid LSC table header file: plane R"
      feed $role "$T/end.h" 1 "$T/end.h: not a valid LSC table header file: plane B: file ends after value 221"
    done
    head -c 20000 "$IN/tuning.h" >"$T/mid_tuning.h"
    cut_end "$IN/tuning.h" 8 "$T/end_tuning.h"
    feed tuning "$T/mid_tuning.h" 1 "$T/mid_tuning.h: not a valid tuning header file: "
    feed tuning "$T/end_tuning.h" 1 "$T/end_tuning.h: not a valid tuning header file: [BgVHXY]: file ends after value 1480"
    printf 'smooth_thd = 0.03\nlimit_t' >"$T/override.txt"
    feed override "$T/override.txt" 1 "$T/override.txt: line 2: \"limit_t\" is not a key=value line"
    head -c 20000 "$IN/stats_000.txt" >"$T/stats.txt"
    feed stats "$T/stats.txt" 1 "$T/stats.txt: not a valid statistics dump: "
    head -c 1000 "$IN/raw_000.raw" >"$T/frame.raw"
    for role in $RAW_ROLES; do
      feed "$role" "$T/frame.raw" 1 "$T/frame.raw: raw frame of 1000 bytes, expected 399360 for 520x384 unpacked 16-bit"
    done
    cut_end "$IN/mipi_000.raw" 8 "$T/mipi.raw"
    attack 1 "$T/mipi.raw: raw frame of 251896 bytes, expected 251904 for 520x384 RAW10 MIPI" \
      stats --raw "$T/mipi.raw" $RAW --mipi --out "$O/s.txt"
    cut_end "$O/diag_000.txt" 1 "$T/diag.txt"
    feed view "$T/diag.txt" 1 "$T/diag.txt: line "
    printf 'prj_u=\n0.5\n\nWX[2][2]=\n1 2 3' >"$T/short.txt"
    feed view "$T/short.txt" 1 "$T/short.txt: line 5: truncated: grid values has no line end"
    expect_error 1 "$T/short.txt: line 5" view "$T/short.txt" --out-dir "$T/new_view"
    [ -e "$T/new_view" ] && fail "view created its output directory for a bad dump"
    # A bad frame in the middle: no frame is run, not even those before it.
    N=$T/sequence
    mkdir "$N" && echo earlier >"$N/table_001.h"
    expect_error 1 "$T/stats.txt: not a valid statistics dump" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" "$T/stats.txt" "$IN/stats_001.txt" --out-dir "$N"
    [ -e "$N/table_000.h" ] && fail "frame 0 before the bad frame was written"
    [ "$(cat "$N/table_001.h")" = earlier ] || fail "the bad frame 1 replaced its table"
    ;;

  oversized)
    # Sparse: costs no disk, but far beyond any such file.
    truncate -s 3G "$T/huge"
    for role in $TEXT_ROLES; do
      feed "$role" "$T/huge" 1 "$T/huge: file of 3221225472 bytes is too large for $(what "$role") (at most"
    done
    for role in $RAW_ROLES; do
      feed "$role" "$T/huge" 1 "$T/huge: raw frame of 3221225472 bytes, expected 399360"
    done
    { cat "$IN/raw_000.raw"; printf x; } >"$T/frame.raw"
    feed raw "$T/frame.raw" 1 "$T/frame.raw: raw frame of 399361 bytes, expected 399360"
    # More values than the format holds, which the library's readers would skip.
    { cat "$IN/base.h"; echo "/* R Gain */"; } >"$T/two_tables.h"
    feed table "$T/two_tables.h" 1 "$T/two_tables.h: not a valid LSC table header file: text after the B plane"
    sed '$s/^}/  0.5,\n}/' "$IN/tuning.h" >"$T/long_tuning.h"
    feed tuning "$T/long_tuning.h" 1 "$T/long_tuning.h: not a valid tuning header file: [BgVHXY]: more than 1480 values"
    must stats --raw "$IN/raw_000.raw" $RAW --grid 64x48 --out "$T/grid64.txt"
    feed stats "$T/grid64.txt" 1 "$T/grid64.txt: not a valid statistics dump: *r_sum[768]: more than 768 values"
    attack 2 "mirvo stats: --bits: 16 is out of range (1 to 14)" \
      stats --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 16 --pattern RGGB --out "$O/s.txt"
    attack 2 "mirvo run: frame of 60000x60000 pixels is too large" \
      run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 60000 --height 60000 --bits 10 --pattern RGGB \
      --out-dir "$O"
    ;;

  wrong_format)
    cp "$O/t.png" "$T/picture.png"
    for role in base table; do
      for f in "$T/picture.png" "$IN/stats_000.txt" "$IN/tuning.h"; do
        feed $role "$f" 1 "$f: not a valid LSC table header file: missing marker \"/* R Gain */\""
      done
    done
    for f in "$T/picture.png" "$IN/base.h"; do
      feed tuning "$f" 1 "$f: not a valid tuning header file: section [Version] not found"
      feed stats "$f" 1 "$f: not a valid statistics dump: section marker \"*r_sum[768]\" not found"
    done
    feed override "$T/picture.png" 1 "$T/picture.png: not a text file (control byte at offset 6)"
    feed override "$IN/stats_000.txt" 1 "$IN/stats_000.txt: line 2: \"******** Stats BG Tintle...\" is not a key=value line"
    cp "$O/diag_000.txt" "$T/diag_000.txt"
    feed override "$T/diag_000.txt" 1 "$T/diag_000.txt: line 1: key or value missing in"
    printf 'smoth_thd=0.05\n' >"$T/other_keys.txt"
    feed override "$T/other_keys.txt" 1 "$T/other_keys.txt: sets none of the known keys"
    feed view "$T/picture.png" 1 "$T/picture.png: line 1: expected a line 'key=', found '?PNG?'"
    feed view "$IN/stats_000.txt" 1 "$IN/stats_000.txt: line 2: expected a line 'key=', found '******** Stats"
    for role in $RAW_ROLES; do
      feed "$role" "$IN/stats_000.txt" 1 \
        "$IN/stats_000.txt: raw frame of $(stat -c %s "$IN/stats_000.txt") bytes, expected 399360"
    done
    # The layouts mixed up.
    feed raw "$IN/mipi_000.raw" 1 "$IN/mipi_000.raw: raw frame of 251904 bytes, expected 399360 for 520x384 unpacked"
    attack 1 "$IN/raw_000.raw: raw frame of 399360 bytes, expected 251904 for 520x384 RAW10 MIPI" \
      stats --raw "$IN/raw_000.raw" $RAW --mipi --out "$O/s.txt"
    attack 2 "mirvo run: --grid: the engine takes only 32x24 statistics" \
      run --base "$IN/base.h" --raw "$IN/raw_000.raw" $RAW --grid 16x12 --out-dir "$O"
    attack 2 "mirvo run: --crop: give six numbers" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --crop 1,2,3 --out-dir "$O"
    ;;

  silently_wrong)
    # Text the library's loaders take without a word but wrongly: a NUL byte
    # ends a C conversion early, a decimal comma reads as the number before
    # it, and of a tuning section given twice only the first counts.
    perl -pe 's/^(\d)\./$1\0./ if $. == 3' "$IN/base.h" >"$T/nul.h"
    perl -pe 's/^  0\.05/  0.05\0/' "$IN/tuning.h" >"$T/nul_tuning.h"
    perl -pe 's/0x/0x\0/ if /^0x/ && !$done++' "$IN/stats_000.txt" >"$T/nul.txt"
    printf 'smooth_thd = 0.0\0%s\n' 5 >"$T/nul_override.txt"
    for f in nul.h nul_tuning.h nul.txt nul_override.txt; do
      [ "$(tr -d '\0' <"$T/$f" | wc -c)" -lt "$(wc -c <"$T/$f")" ] || fail "fixture $f holds no NUL byte"
    done
    for role in base table; do
      feed $role "$T/nul.h" 1 "$T/nul.h: not a valid LSC table header file: plane R: value 1 \""
    done
    feed tuning "$T/nul_tuning.h" 1 "$T/nul_tuning.h: not a valid tuning header file: NUL byte on line "
    feed stats "$T/nul.txt" 1 "$T/nul.txt: not a valid statistics dump: *r_sum[768]: value 1 \"0x?"
    feed override "$T/nul_override.txt" 1 "$T/nul_override.txt: not a text file (control byte at offset 16)"
    sed 's/^  0\.0500000007,/  0,0500000007,/' "$IN/tuning.h" >"$T/comma.h"
    awk '/\[BUL\]/ { grid = 1 } grid && !done && /\{ *-?[0-9]/ { sub(/\./, ","); done = 1 } { print }' \
      "$IN/tuning.h" >"$T/grid_comma.h"
    feed tuning "$T/comma.h" 1 \
      "$T/comma.h: not a valid tuning header file: [TuningParams]: smooth_thd line \"  0,0500000007, /* smoot...\" has a decimal comma"
    feed tuning "$T/grid_comma.h" 1 "$T/grid_comma.h: not a valid tuning header file: [BUL]: value 1 "
    printf 'smooth_thd = 0,05\n' >"$T/comma.txt"
    feed override "$T/comma.txt" 1 "$T/comma.txt: line 1: value \"0,05\" of smooth_thd is not a finite number"
    sed '3s/^\([0-9]\)\./\1,/' "$IN/base.h" >"$T/comma.h"
    feed base "$T/comma.h" 1 "$T/comma.h: not a valid LSC table header file: plane R: value 1 "
    lines=$(wc -l <"$IN/tuning.h")
    for section in Version TuningParams BUL BgVHXY; do
      { cat "$IN/tuning.h"; echo "/* [$section] */"; } >"$T/twice.h"
      feed tuning "$T/twice.h" 1 "$T/twice.h: not a valid tuning header file: section [$section] appears twice (lines "
      grep -q "and $((lines + 1)))" "$ERR" || fail "[$section]: second line not named: $(cat "$ERR")"
    done
    ;;

  huge_declared)
    # Keys declare a grid's size; memory and pictures must follow the values
    # present, not the declaration.
    printf '\ng[2048][2048]=\n1 2 3\n' >"$T/empty_grid.txt"
    feed view "$T/empty_grid.txt" 1 "$T/empty_grid.txt: line 3: grid g[2048][2048] does not hold 4194304 values"
    printf '\ng[1][99999999999]=\n1\n' >"$T/beyond.txt"
    feed view "$T/beyond.txt" 1 "$T/beyond.txt: line 2: grid key g[1][99999999999] does not end in [rows][cols]"
    # A thin grid of a million bytes: a 2 MB dump whose picture would be a
    # million pixels wide.
    { printf '\ng[1][1000000]=\n'; head -c 1000000 /dev/zero | tr '\0' '\1' | sed 's/./& /g; s/ $//'; echo; } >"$T/thin.txt"
    feed view "$T/thin.txt" 1 "$T/thin.txt: grid g[1][1000000] is too large to draw (at most 4096 rows or columns)"
    ;;

  non_numeric)
    # Line 3 starts plane R, line 19 plane GR.
    sed '3s/^[0-9.]*f/1.2x3f/' "$IN/base.h" >"$T/glued.h"
    sed '19s/^[0-9.]*f/nan/' "$IN/base.h" >"$T/nan.h"
    sed '3s/^[0-9.]*f/abc/' "$IN/base.h" >"$T/word.h"
    for role in base table; do
      feed $role "$T/glued.h" 1 "$T/glued.h: not a valid LSC table header file: plane R: value 1 \"1.2x3f,\" is not a finite number"
      feed $role "$T/nan.h" 1 "$T/nan.h: not a valid LSC table header file: plane GR: value 1 \"nan,\" is not a finite number"
      feed $role "$T/word.h" 1 "$T/word.h: not a valid LSC table header file: plane R: expected 221 numbers, found 0"
    done
    awk '/\[BUL\]/ { grid = 1 } grid && !done && /\{ *-?[0-9]/ { sub(/-?[0-9][0-9.e-]*/, "abc"); done = 1 } { print }' \
      "$IN/tuning.h" >"$T/grid_word.h"
    sed '0,/\[BVL\]/!{0,/-0\.[0-9]*/s//1e99/}' "$IN/tuning.h" >"$T/grid_range.h"
    sed 's/^  0.0500000007,/  smooth,/' "$IN/tuning.h" >"$T/value_word.h"
    sed 's/^  0.0500000007,/  0.05x,/' "$IN/tuning.h" >"$T/value_glued.h"
    for f in grid_word grid_range value_word value_glued; do
      cmp -s "$T/$f.h" "$IN/tuning.h" && fail "fixture $f is not broken"
      feed tuning "$T/$f.h" 1 "$T/$f.h: not a valid tuning header file: ["
    done
    printf 'smooth_thd = 0.05\nlimit_thd = abc\n' >"$T/word.txt"
    printf 'smooth_thd = nan\n' >"$T/nan.txt"
    feed override "$T/word.txt" 1 "$T/word.txt: line 2: value \"abc\" of limit_thd is not a finite number"
    feed override "$T/nan.txt" 1 "$T/nan.txt: line 1: value \"nan\" of smooth_thd is not a finite number"
    sed 's/0x[0-9a-f]*\t/zz\t/5' "$IN/stats_000.txt" >"$T/word.txt"
    sed 's/0x[0-9a-f]*\t/0x12g\t/7' "$IN/stats_000.txt" >"$T/glued.txt"
    # A count that does not fit the 16-bit field.
    awk '/^\*r_cnt/ { c = 1; print; next } c && !done { sub(/^0x[0-9a-f]*/, "0x10000"); done = 1 } { print }' \
      "$IN/stats_000.txt" >"$T/wide.txt"
    feed stats "$T/word.txt" 1 "$T/word.txt: not a valid statistics dump: *r_sum[768]: token 5 \"zz\" is not a hexadecimal"
    feed stats "$T/glued.txt" 1 "$T/glued.txt: not a valid statistics dump: *r_sum[768]: value 7 \"0x12g\" is not a hexadecimal"
    feed stats "$T/wide.txt" 1 "$T/wide.txt: not a valid statistics dump: *r_cnt[768]: value 1 \"0x10000\" is out of range"
    printf 'prj_u=\nabc\n' >"$T/diag.txt"
    feed view "$T/diag.txt" 1 "$T/diag.txt: line 2: value 'abc' of scalar prj_u is not a number"
    printf 'prj_u=\n0.5\n\nGradH_UX[24][31]=\n1 2 x\n' >"$T/grid.txt"
    feed view "$T/grid.txt" 1 "$T/grid.txt: line 5: grid GradH_UX[24][31] does not hold 744 values"
    attack 2 "mirvo run: --width: 'wide' is not an integer" \
      run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width wide --height 384 --bits 10 --pattern RGGB --out-dir "$O"
    attack 2 "mirvo stats: --black-level: 'x' is not a level" \
      stats --raw "$IN/raw_000.raw" $RAW --black-level x --out "$O/s.txt"
    attack 2 "mirvo run: --crop: 'a' is not a number" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --crop 1,2,a,4,5,6 --out-dir "$O"
    ;;

  unknown_pattern)
    # And the other names the program does not know.
    for p in rggb XYZW RGGBX; do
      attack 2 "mirvo run: --pattern: unknown Bayer pattern '$p'" \
        run --base "$IN/base.h" --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern "$p" --out-dir "$O"
      attack 2 "mirvo stats: --pattern: unknown Bayer pattern '$p'" \
        stats --raw "$IN/raw_000.raw" --width 520 --height 384 --bits 10 --pattern "$p" --out "$O/s.txt"
    done
    attack 2 "mirvo run: --pattern applies to --raw frames only" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --pattern RGGB --out-dir "$O"
    attack 2 "mirvo run: unknown option --frobnicate" run --base "$IN/base.h" --stats "$IN/stats_000.txt" --frobnicate
    attack 2 "mirvo: unknown command 'frobnicate'" frobnicate "$IN/base.h"
    ;;

  directory)
    for role in $ROLES; do feed "$role" "$IN" 1 "$IN: is a directory, expected $(what "$role")"; done
    # A directory where an output file belongs.
    attack 1 "$O/view: is a directory, cannot write a file there" \
      stats --raw "$IN/raw_000.raw" $RAW --out "$O/view"
    attack 1 "$O/view: is a directory, cannot write a file there" table "$IN/base.h" --png "$O/view"
    N=$T/taken
    mkdir -p "$N/table_000.h"
    expect_error 1 "$N/table_000.h: is a directory, cannot write a file there" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$N"
    # The summaries are outputs like the tables: refused before the first table.
    N=$T/taken_summary
    for summary in summary.json summary.csv; do
      rm -rf "$N" && mkdir -p "$N/$summary"
      expect_error 1 "$N/$summary: is a directory, cannot write a file there" \
        run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$N"
      [ ! -e "$N/table_000.h" ] || fail "run wrote a table beside the directory $N/$summary"
      expect_error 1 "$N/$summary: is a directory, cannot write a file there" demo --frames 1 --out-dir "$N"
      [ ! -e "$N/base.h" ] || fail "demo wrote beside the directory $N/$summary"
    done
    ;;

  unwritable)
    attack 1 "$IN/base.h: cannot use as output directory: not a directory" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$IN/base.h"
    attack 1 "$IN/base.h/sub: cannot create directory: Not a directory" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$IN/base.h/sub"
    attack 1 "$IN/base.h/view: cannot create directory: Not a directory" view "$O/diag_000.txt" --out-dir "$IN/base.h/view"
    attack 1 "$T/nope/s.txt: cannot create a file in $T/nope: No such file or directory" \
      stats --raw "$IN/raw_000.raw" $RAW --out "$T/nope/s.txt"
    attack 1 "$T/nope/t.sim: cannot create a file in $T/nope: No such file or directory" \
      table "$IN/base.h" --sim "$T/nope/t.sim"
    # Earlier outputs in a directory that has since become read-only: a
    # read-only file system for root, permissions for anyone else.
    R=$T/readonly
    if [ "$(id -u)" -eq 0 ] && ! mount_tmpfs "$R" size=4m; then finish; exit; fi
    O=$R
    write_earlier "$O"
    if [ "$(id -u)" -eq 0 ]; then
      mount -o remount,ro "$R"
    else
      find "$R" -type d -exec chmod 555 {} +
      trap 'chmod -R u+w "$T"; rm -rf "$T"' EXIT
    fi
    attack 1 "$R/diag_000.txt: cannot create a file in $R: " \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --debug --png --out-dir "$R"
    attack 1 "$R/s.txt: cannot create a file in $R: " stats --raw "$IN/raw_000.raw" $RAW --out "$R/s.txt"
    attack 1 "$R/t.sim: cannot create a file in $R: " table "$IN/base.h" --sim "$R/t.sim"
    attack 1 "$R/view/GradH_UX.png: cannot create a file in $R/view: " view "$R/diag_000.txt" --out-dir "$R/view"
    attack 1 "$R/demo: cannot create directory: " demo --frames 1 --out-dir "$R/demo"
    ;;

  full_disk)
    F=$T/full
    mount_tmpfs "$F" size=64k || exit 77
    # The earlier run's table and pictures fit; then the disk is filled.
    O=$F/out
    must run --base "$IN/base.h" --stats "$IN/stats_000.txt" --png --out-dir "$O"
    checksum "$O" >"$T/sums"
    dd if=/dev/zero of="$F/filler" bs=4k 2>/dev/null
    [ "$(df --output=avail "$F" | tail -n 1)" -eq 0 ] || fail "could not fill $F"
    attack 1 "$O/table_000.h: cannot write: No space left on device" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --png --out-dir "$O"
    # The dump is written from the engine's thread, before the table.
    attack 1 "$O/diag_000.txt: cannot write: No space left on device" \
      run --base "$IN/base.h" --raw "$IN/raw_000.raw" $RAW --debug --out-dir "$O"
    attack 1 "$O/s.txt: cannot write: No space left on device" stats --raw "$IN/raw_000.raw" $RAW --out "$O/s.txt"
    attack 1 "$O/m.raw: cannot write: No space left on device" \
      stats --raw "$IN/raw_000.raw" $RAW --out "$T/s.txt" --mean-image "$O/m.raw"
    attack 1 "$O/t.sim: cannot write: No space left on device" table "$IN/base.h" --sim "$O/t.sim"
    attack 1 "$O/t.png: cannot write: No space left on device" table "$IN/base.h" --png "$O/t.png"
    attack 1 "$O/GradH_UX.png: cannot write: No space left on device" view "$T/out/diag_000.txt" --out-dir "$O"
    attack 1 "$O/base.h: cannot write: No space left on device" demo --frames 1 --out-dir "$O"
    ;;

  special_output)
    # Where an output belongs there is a link, a FIFO or a device node: the
    # call is refused before anything is written, and the node stays as it was.
    S=$T/special
    echo target >"$T/link_target"
    if [ "$(id -u)" -eq 0 ]; then DEVICE=mknod; else DEVICE=/dev/null; fi
    for kind in link dangling fifo device; do
      case $kind in
        link | dangling) text="a symbolic link" ;;
        fifo) text="a FIFO" ;;
        device) text="a character device" ;;
      esac
      for role in run_table run_diag run_png run_summary stats_out stats_mean table_sim table_png view demo calibrate_out \
        calibrate_png learn_out import_out report; do
        rm -rf "$S" && mkdir -p "$S"
        beside=""
        case $role in
          run_table) name=table_000.h ;;
          run_diag) name=diag_000.txt ;;
          run_png) name=tint_000.png ;;
          run_summary) name=summary.csv ;;
          stats_out) name=s.txt ;;
          stats_mean) name=m.raw ;;
          table_sim) name=t.sim ;;
          table_png) name=t.png ;;
          view) name=GradH_UX.png ;;
          demo) name=base.h ;;
          calibrate_out) name=c.h ;;
          calibrate_png) name=c_flat.png ;;
          learn_out) name=l.h ;;
          import_out) name=i.h ;;
          report) name=report.html beside=summary.json && cp "$O/summary.json" "$S/" ;;
        esac
        node=$S/$name
        case $kind in
          link) ln -s "$T/link_target" "$node" ;;
          dangling) ln -s "$T/nowhere" "$node" ;;
          fifo) mkfifo "$node" ;;
          device) if [ "$DEVICE" = mknod ]; then mknod "$node" c 1 3; else node=/dev/null; fi ;;
        esac
        case $role in
          run_*) if [ "$node" = /dev/null ]; then continue; fi
            attack 1 "$node: is $text; outputs are written only as regular files" \
              run --base "$IN/base.h" --stats "$IN/stats_000.txt" --debug --png --out-dir "$S" ;;
          stats_out) attack 1 "$node: is $text" stats --raw "$IN/raw_000.raw" $RAW --out "$node" --mean-image "$S/m2.raw" ;;
          stats_mean) attack 1 "$node: is $text" stats --raw "$IN/raw_000.raw" $RAW --out "$S/s2.txt" --mean-image "$node" ;;
          table_sim) attack 1 "$node: is $text" table "$IN/base.h" --sim "$node" --png "$S/t2.png" ;;
          table_png) attack 1 "$node: is $text" table "$IN/base.h" --sim "$S/t2.sim" --png "$node" ;;
          view) if [ "$node" = /dev/null ]; then continue; fi
            attack 1 "$node: is $text" view "$O/diag_000.txt" --out-dir "$S" ;;
          demo) if [ "$node" = /dev/null ]; then continue; fi
            attack 1 "$node: is $text" demo --frames 1 --out-dir "$S" ;;
          calibrate_out) attack 1 "$node: is $text" calibrate --raw "${FLAT[@]}" --out "$node" ;;
          calibrate_png) if [ "$node" = /dev/null ]; then continue; fi
            attack 1 "$node: is $text" calibrate --raw "${FLAT[@]}" --png --out "$S/c.h" ;;
          learn_out) attack 1 "$node: is $text" learn --table "$C/a.h" "$C/b.h" --out "$node" ;;
          import_out) attack 1 "$node: is $text" table --import "$C/cal.json" --ct 5000 --out "$node" ;;
          report) if [ "$node" = /dev/null ]; then continue; fi
            attack 1 "$node: is $text" report "$S" ;;
        esac
        if [ "$node" = /dev/null ]; then
          [ -c /dev/null ] || fail "/dev/null is no longer a device"
        else
          case $kind in
            link | dangling) [ -L "$node" ] || fail "$kind $node was replaced" ;;
            fifo) [ -p "$node" ] || fail "FIFO $node was replaced" ;;
            device) [ -c "$node" ] || fail "device $node was replaced" ;;
          esac
          [ "$(ls -A "$S" | tr '\n' ' ')" = "$name $beside " ] || [ "$(ls -A "$S" | tr '\n' ' ')" = "$name " ] ||
            fail "$role: written beside the refused $kind: $(ls -A "$S")"
        fi
        [ "$(cat "$T/link_target")" = target ] || fail "$role: written through the link"
      done
    done
    ;;

  same_file)
    # An input is never an output, and two outputs of a call are two files:
    # by name, through a hard link, a symbolic link or a linked directory.
    D=$T/same
    mkdir -p "$D"
    cp "$IN/base.h" "$D/table_000.h"
    cp "$IN/stats_000.txt" "$D/table_001.h"
    cp "$O/diag_000.txt" "$D/diag_000.txt"
    cp "$IN/raw_000.raw" "$D/r.raw"
    cp "$IN/base.h" "$D/summary.json"
    cp "$IN/stats_000.txt" "$D/summary.csv"
    ln "$D/table_000.h" "$D/hard.h"
    ln -s "$D/table_000.h" "$D/soft.h"
    ln -s "$D" "$T/alias"
    (cd "$D" && find . -type f -print0 | sort -z | xargs -0 sha256sum) >"$T/same_sums"
    same() {  # TEXT ARGS...: refused, with nothing in $D changed or added
      expect_error 1 "$@"
      (cd "$D" && find . -type f -print0 | sort -z | xargs -0 sha256sum) | cmp -s - "$T/same_sums" ||
        fail "mirvo ${*:2}: files in $D changed"
      [ ! -e "$D/diag_001.txt" ] && [ ! -e "$D/t.png" ] && [ ! -e "$D/view" ] || fail "mirvo ${*:2}: wrote an output"
    }
    RUN=(--stats "$IN/stats_000.txt" --out-dir "$D")
    same "$D/table_000.h: is also the input $D/table_000.h" run --base "$D/table_000.h" "${RUN[@]}"
    # The summaries are in the plan too: an input there is never overwritten.
    same "$D/summary.json: is also the input $D/summary.json" \
      run --base "$D/summary.json" --stats "$IN/stats_000.txt" --out-dir "$D" --no-sync
    same "$D/summary.csv: is also the input $D/summary.csv" \
      run --base "$IN/base.h" --stats "$D/summary.csv" --out-dir "$D"
    same "$D/table_000.h: is also the input $D/hard.h" run --base "$D/hard.h" "${RUN[@]}"
    same "$D/table_000.h: is also the input $D/soft.h" run --base "$D/soft.h" "${RUN[@]}"
    same "$T/alias/table_000.h: is also the input $D/table_000.h" \
      run --base "$D/table_000.h" --stats "$IN/stats_000.txt" --out-dir "$T/alias"
    same "$D/diag_000.txt: is also the input $D/diag_000.txt" \
      run --base "$IN/base.h" --override "$D/diag_000.txt" --debug "${RUN[@]}"
    cp "$IN/stats_000.txt" "$T/frame.txt"
    same "$D/table_001.h: is also the input $D/table_001.h" \
      run --base "$IN/base.h" --stats "$T/frame.txt" "$D/table_001.h" --out-dir "$D" --png
    same "$D/table_000.h: is also the input $D/table_000.h" table "$D/table_000.h" --png "$D/t.png" --sim "$D/table_000.h"
    same "$D/hard.h: is also the input $D/table_000.h" table "$D/table_000.h" --sim "$D/hard.h"
    same "$D/r.raw: is also the input $D/r.raw" stats --raw "$D/r.raw" $RAW --out "$D/s.txt" --mean-image "$D/r.raw"
    same "$D/t.png: is the same file as the output $D/t.png" table "$IN/base.h" --sim "$D/t.png" --png "$D/t.png"
    same "$T/alias/sub/../t.png: is the same file as the output $D/t.png" \
      table "$IN/base.h" --sim "$D/t.png" --png "$T/alias/sub/../t.png"
    same "$D/./hard.h: is the same file as the output $D/table_000.h" \
      stats --raw "$IN/raw_000.raw" $RAW --out "$D/table_000.h" --mean-image "$D/./hard.h"
    # The calibration commands: a capture, a table, a tuning or a calibration
    # as the output, and two outputs of calibrate --png that are one file.
    cp "$C/flat.raw" "$D/flat.raw"
    cp "$C/a.h" "$D/a.h"
    cp "$C/cal.json" "$D/cal.json"
    cp "$IN/tuning.h" "$D/tuning.h"
    echo picture >"$D/x_gains.png"
    ln "$D/x_gains.png" "$D/x_flat.png"
    mkdir -p "$D/run"
    cp "$O/summary.json" "$D/run/"
    ln "$D/run/summary.json" "$D/run/report.html"
    (cd "$D" && find . -type f -print0 | sort -z | xargs -0 sha256sum) >"$T/same_sums"
    same "$D/flat.raw: is also the input $D/flat.raw" calibrate --raw "$D/flat.raw" $RAW --black-level 1024 \
      --out "$D/flat.raw"
    same "$D/x_flat.png: is the same file as the output $D/x_gains.png" \
      calibrate --raw "${FLAT[@]}" --png --out "$D/x.h"
    same "$D/a.h: is also the input $D/a.h" learn --table "$D/a.h" "$C/b.h" --out "$D/a.h"
    same "$D/hard.h: is also the input $D/table_000.h" learn --table "$C/a.h" "$D/table_000.h" --out "$D/hard.h"
    same "$D/tuning.h: is also the input $D/tuning.h" learn --table "$C/a.h" "$C/b.h" --tuning "$D/tuning.h" \
      --out "$D/tuning.h"
    same "$D/cal.json: is also the input $D/cal.json" table --import "$D/cal.json" --ct 5000 --out "$D/cal.json"
    same "$D/run/report.html: is also the input $D/run/summary.json" report "$D/run"
    [ -e "$D/x.h" ] && fail "calibrate wrote its table beside two outputs that are one file"
    # A dump whose picture would be the dump itself.
    printf 'prj_u=\n0.5\n\nWX[1][2]=\n1 2\n' >"$D/WX.png"
    (cd "$D" && find . -type f -print0 | sort -z | xargs -0 sha256sum) >"$T/same_sums"
    same "$D/WX.png: is also the input $D/WX.png" view "$D/WX.png" --out-dir "$D"
    # Grids whose names give one file name get pictures of their own.
    printf 'prj_u=\n0.5\n\nWX[1][2]=\n1 2\n\nWX[2][1]=\n3 4\n\nWX_2[1][1]=\n5\n\nwx[1][1]=\n6\n\nW.X[1][1]=\n7\n' \
      >"$T/names.txt"
    run_mirvo view "$T/names.txt" --out-dir "$T/names"
    [ "$STATUS" -eq 0 ] || fail "view of clashing names: $(cat "$ERR")"
    [ "$(find "$T/names" -name '*.png' | wc -l)" -eq 5 ] || fail "5 grids gave $(ls "$T/names")"
    # Repeating an input is fine.
    run_mirvo run --base "$IN/base.h" --stats "$IN/stats_000.txt" "$IN/stats_000.txt" --out-dir "$T/twice"
    [ "$STATUS" -eq 0 ] || fail "the same frame twice: $(cat "$ERR")"
    ;;

  all_inputs_first)
    # A bad frame anywhere in the sequence fails the run before the first
    # output is replaced: $O holds frame 0 of stats_000, which frame 0 of
    # these runs (stats_001) would change.
    printf x >"$T/empty_not.txt"
    : >"$T/empty.txt"
    head -c 20000 "$IN/stats_000.txt" >"$T/truncated.txt"
    sed 's/0x[0-9a-f]*\t/zz\t/5' "$IN/stats_000.txt" >"$T/word.txt"
    for bad in "$T/nope.txt" "$T/empty.txt" "$T/truncated.txt" "$T/word.txt" "$IN"; do
      for at in last middle; do
        if [ $at = last ]; then
          frames=("$IN/stats_001.txt" "$IN/stats_000.txt" "$IN/stats_002.txt" "$bad")
        else
          frames=("$IN/stats_001.txt" "$bad" "$IN/stats_002.txt")
        fi
        attack 1 "$bad: " run --base "$IN/base.h" --stats "${frames[@]}" --debug --png --out-dir "$O"
        # Beyond the memory budget for dumps (here one byte) every dump is
        # checked in a first pass and loaded again as its frame comes.
        MIRVO_TEST_DUMP_BUDGET=1 attack 1 "$bad: " run --base "$IN/base.h" --stats "${frames[@]}" --debug --png \
          --out-dir "$O"
      done
    done
    # Both paths give the same outputs.
    for budget in 1 1000000000; do
      MIRVO_TEST_DUMP_BUDGET=$budget must run --base "$IN/base.h" --stats "$IN"/stats_00[0-2].txt "$IN/stats_000.txt" \
        --debug --png --out-dir "$T/budget_$budget"
      checksum_tables "$T/budget_$budget" >"$T/budget_$budget.sums"
    done
    cmp -s "$T/budget_1.sums" "$T/budget_1000000000.sums" || fail "dumps loaded twice gave other outputs"
    MIRVO_TEST_DUMP_BUDGET=1e9 expect_error 2 "MIRVO_TEST_DUMP_BUDGET: '1e9' is not a number of bytes" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --out-dir "$T/budget_bad"
    # calibrate and learn: a bad last input, and nothing is written.
    head -c 1000 "$C/flat.raw" >"$T/short_flat.raw"
    attack 1 "$T/short_flat.raw: raw frame of 1000 bytes" \
      calibrate --raw "$C/flat.raw" "$C/flat.raw" "$T/short_flat.raw" $RAW --black-level 1024 --png --out "$O/c.h"
    head -c 3000 "$C/b.h" >"$T/cut.h"
    attack 1 "$T/cut.h: " learn --table "$C/a.h" "$C/b.h" "$T/cut.h" --out "$O/l.h"
    attack 1 "$T/cut.h: " learn --table "$C/a.h" "$C/b.h" --tuning "$T/cut.h" --out "$O/l.h"
    head -c 1000 "$IN/raw_001.raw" >"$T/short.raw"
    attack 1 "$T/short.raw: raw frame of 1000 bytes" \
      run --base "$IN/base.h" --raw "$IN/raw_001.raw" "$IN/raw_000.raw" "$T/short.raw" $RAW --png --out-dir "$O"
    ;;

  extreme_numbers)
    # Finite numbers far outside what they stand for are refused, naming the
    # option or file, before any conversion (the sanitizer build checks that).
    for crop in 1e-50,3024,0,0,4032,3024 1e30,3024,0,0,4032,3024 4032,3024,0,0,1e300,3024 4032,3024,-5,0,4032,3024 \
      4032,3024,0,0,4032,0.5; do
      attack 2 "mirvo run: --crop: " run --base "$IN/base.h" --stats "$IN/stats_000.txt" --crop "$crop" --out-dir "$O"
    done
    attack 2 "mirvo run: --crop: offs_x + out_w reaches beyond in_w 4032" \
      run --base "$IN/base.h" --stats "$IN/stats_000.txt" --crop 4032,3024,2000,0,3000,3024 --out-dir "$O"
    # Line 3 holds the first row of plane R, line 19 of plane GR.
    for gain in 0.0 -1.5 1e-30 1e7 3e38; do
      sed "3s/^[0-9.]*f/${gain}f/" "$IN/base.h" >"$T/gain.h"
      attack 1 "$T/gain.h: gain " run --base "$T/gain.h" --stats "$IN/stats_000.txt" --debug --png --out-dir "$O"
    done
    sed 's/^[0-9.]*f/0.0f/' "$IN/base.h" >"$T/zero.h"
    attack 1 "$T/zero.h: gain 0 of plane R at row 1, column 1 is outside 1e-06 to 1e+06" \
      run --base "$T/zero.h" --stats "$IN/stats_000.txt" --out-dir "$O"
    for gain in 1e7 -1.5 3e38; do
      sed "19s/^[0-9.]*f/${gain}f/" "$IN/base.h" >"$T/gain.h"
      attack 1 "$T/gain.h: gain " table "$T/gain.h" --sim "$O/t.sim" --png "$O/t.png"
    done
    # Options of the calibration commands, and gains of the tables learn takes
    # (base tables: the profile is made of their log ratios).
    for v in 1e30 nan -1 inf 1e999 -nan 1e-320; do
      attack 2 "mirvo calibrate: --luminance-strength: '$v' is not a number from 0 to 1" \
        calibrate --raw "${FLAT[@]}" --luminance-strength "$v" --png --out "$O/c.h"
    done
    for v in 1e30 nan 1e999 2856.5 0x1000; do
      attack 2 "mirvo table: --ct: '$v' is not an integer" table --import "$C/cal.json" --ct "$v" --out "$O/i.h"
    done
    for v in -1 0 999 100001 2147483648; do
      attack 2 "mirvo table: --ct: $v is out of range (1000 to 100000)" \
        table --import "$C/cal.json" --ct "$v" --out "$O/i.h"
    done
    for gain in 3e38 1e-30 1e7 0.0 -1.5; do
      sed "3s/^[0-9.]*f/${gain}f/" "$C/b.h" >"$T/gain.h"
      attack 1 "$T/gain.h: gain " learn --table "$C/a.h" "$T/gain.h" --out "$O/l.h"
    done
    # Accepted where nothing converts them: drawn, summarised, applied.
    sed "19s/^[0-9.]*f/3e38f/" "$IN/base.h" >"$T/huge.h"
    run_mirvo table "$T/huge.h" --png "$T/huge.png"
    [ "$STATUS" -eq 0 ] || fail "table --png of a huge gain: $(cat "$ERR")"
    printf 'prj_u=\n1e308\n\nWX[2][2]=\n1e308 -1e308 4.9e-324 0\n' >"$T/extreme_diag.txt"
    run_mirvo view "$T/extreme_diag.txt" --out-dir "$T/extreme_view"
    [ "$STATUS" -eq 0 ] || fail "view of extreme values: $(cat "$ERR")"
    printf 'enable_temporal_filter=1e30\nfilter_input_stats=-1e30\nsmooth_thd=1e30\n' >"$T/extreme_override.txt"
    run_mirvo run --base "$IN/base.h" --stats "$IN/stats_000.txt" --override "$T/extreme_override.txt" \
      --crop 65536,65536,0,0,1,1 --png --out-dir "$T/extreme_run"
    [ "$STATUS" -eq 0 ] || fail "run with extreme overrides: $(cat "$ERR")"
    ;;

  closed_descriptors)
    # Started with stdin, stdout or stderr closed, the program writes its
    # messages nowhere rather than into the files it opens first. Warnings
    # for every frame, while the tables of earlier frames are being written.
    Z=()
    for _ in $(seq 12); do Z+=("$IN/zero_counts.txt"); done
    must run --base "$IN/base.h" --stats "${Z[@]}" "$IN/stats_000.txt" --debug --png --out-dir "$T/ref"
    grep -q warning "$ERR" || fail "the reference run gave no warning to lose"
    must table "$IN/base.h" --sim "$T/ref/t.sim"
    checksum_tables "$T/ref" >"$T/ref_sums"
    # The calibration commands and the report, with each descriptor closed,
    # run inside the output directory (the report's title is its name).
    calibration_calls() {
      "$MIRVO" calibrate --raw "${FLAT[@]}" --png --out "$1/c.h" &&
        "$MIRVO" learn --table "$C/a.h" "$C/b.h" --out "$1/l.h" &&
        "$MIRVO" table --import "$C/cal.json" --ct 5000 --out "$1/i.h" &&
        "$MIRVO" table "$1/i.h" --json >"$1/i.json" &&
        cp "$T/ref/summary.json" "$1/" && "$MIRVO" report "$1"
    }
    mkdir -p "$T/cref"
    (cd "$T/cref" && calibration_calls .) >/dev/null 2>&1 || fail "calibration reference calls failed"
    checksum "$T/cref" >"$T/cref_sums"
    for fd in 0 1 2; do
      N=$T/cclosed_$fd
      mkdir -p "$N"
      case $fd in
        0) (cd "$N" && calibration_calls .) <&- >/dev/null 2>&1 ;;
        1) (cd "$N" && calibration_calls .) >&- 2>/dev/null ;;
        2) (cd "$N" && calibration_calls .) 2>&- >/dev/null ;;
      esac
      STATUS=$?
      [ "$STATUS" -eq 0 ] || fail "descriptor $fd closed: calibration calls: exit status $STATUS"
      # table --json writes to its own redirection, so its output must match too.
      checksum "$N" | cmp -s - "$T/cref_sums" || fail "descriptor $fd closed: calibration outputs differ"
    done
    for fd in 0 1 2; do
      N=$T/closed_$fd
      mkdir -p "$N"
      case $fd in
        0) "$MIRVO" run --base "$IN/base.h" --stats "${Z[@]}" "$IN/stats_000.txt" --debug --png \
          --out-dir "$N" <&- >/dev/null 2>&1 && "$MIRVO" table "$IN/base.h" --sim "$N/t.sim" <&- >/dev/null ;;
        1) "$MIRVO" run --base "$IN/base.h" --stats "${Z[@]}" "$IN/stats_000.txt" --debug --png \
          --out-dir "$N" >&- 2>/dev/null && "$MIRVO" table "$IN/base.h" --sim "$N/t.sim" >&- ;;
        2) "$MIRVO" run --base "$IN/base.h" --stats "${Z[@]}" "$IN/stats_000.txt" --debug --png \
          --out-dir "$N" 2>&- >/dev/null && "$MIRVO" table "$IN/base.h" --sim "$N/t.sim" 2>&- >/dev/null ;;
      esac
      STATUS=$?
      [ "$STATUS" -eq 0 ] || fail "descriptor $fd closed: exit status $STATUS"
      checksum_tables "$N" | cmp -s - "$T/ref_sums" || fail "descriptor $fd closed: outputs differ from the reference"
      # A failing call still ends with its status, and writes nothing.
      "$MIRVO" table "$T/nope.h" --sim "$N/t2.sim" 2>&-
      [ $? -eq 1 ] || fail "descriptor 2 closed: a failure did not give status 1"
      [ -e "$N/t2.sim" ] && fail "descriptor $fd closed: a failed call wrote its output"
    done
    ;;

  *)
    echo "unknown class $CLASS" >&2
    exit 2
    ;;
esac
finish

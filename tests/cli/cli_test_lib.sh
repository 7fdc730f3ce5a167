# Helpers shared by the command-line end-to-end tests, each called as:
#   script.sh MIRVO MAKE_FIXTURES DATA_DIR
set -u
MIRVO=$1 MAKE_FIXTURES=$2 DATA=$3
T=$(mktemp -d "${TMPDIR:-/tmp}/mirvo_cli_test.XXXXXX")
trap 'rm -rf "$T"' EXIT
FAILURES=0
fail() { echo "FAIL: $*" >&2; FAILURES=$((FAILURES + 1)); }
# Writes the generated inputs into $T/in.
make_fixtures() { mkdir -p "$T/in" && "$MAKE_FIXTURES" "$T/in" || { echo "cannot write fixtures" >&2; exit 1; }; }
# Runs mirvo with a time limit (generous: coverage builds on a busy machine are slow);
# sets STATUS, OUT (stdout file) and ERR (stderr file).
run_mirvo() { OUT=$T/stdout ERR=$T/stderr; timeout 120 "$MIRVO" "$@" >"$OUT" 2>"$ERR"; STATUS=$?; }
# ok ARGS...: mirvo succeeds.
ok() { run_mirvo "$@" && [ "$STATUS" -eq 0 ] || fail "mirvo $*: status $STATUS: $(head -c 300 "$ERR")"; }
# expect_error STATUS TEXT ARGS...: mirvo ends with STATUS and one line on stderr containing TEXT.
expect_error() {
  local want=$1 text=$2
  shift 2
  run_mirvo "$@"
  [ "$STATUS" -eq "$want" ] && [ "$(wc -l <"$ERR")" -eq 1 ] && grep -qF -- "$text" "$ERR" ||
    fail "mirvo $*: status $STATUS, expected $want and one line with '$text': $(head -c 300 "$ERR")"
}
finish() { [ "$FAILURES" -eq 0 ] || { echo "$FAILURES failure(s)" >&2; exit 1; }; echo ok; }

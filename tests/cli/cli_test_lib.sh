# Helpers shared by the command-line end-to-end tests. Each test script is
# called as: script.sh MIRVO MAKE_FIXTURES DATA_DIR
set -u
MIRVO=$1
MAKE_FIXTURES=$2
DATA=$3
T=$(mktemp -d "${TMPDIR:-/tmp}/mirvo_cli_test.XXXXXX")
trap 'rm -rf "$T"' EXIT
FAILURES=0

fail() {
  echo "FAIL: $*" >&2
  FAILURES=$((FAILURES + 1))
}

# Writes the generated inputs into $T/in.
make_fixtures() {
  mkdir -p "$T/in"
  "$MAKE_FIXTURES" "$T/in" || { echo "cannot write fixtures" >&2; exit 1; }
}

# Runs mirvo with a time limit; sets STATUS, OUT (stdout file) and ERR (stderr file).
run_mirvo() {
  OUT=$T/stdout
  ERR=$T/stderr
  timeout 20 "$MIRVO" "$@" >"$OUT" 2>"$ERR"
  STATUS=$?
}

# expect_error STATUS TEXT ARGS...: mirvo must exit with STATUS and print
# exactly one line on stderr, containing TEXT.
expect_error() {
  local want=$1 text=$2
  shift 2
  run_mirvo "$@"
  local what="mirvo $*"
  case $STATUS in
    124) fail "$what: no answer within the time limit" ;;
    12[5-9] | 1[3-9][0-9] | 2[0-9][0-9]) fail "$what: killed by a signal (exit status $STATUS): $(head -c 300 "$ERR")" ;;
    "$want") ;;
    *) fail "$what: exit status $STATUS, expected $want ($(head -c 300 "$ERR"))" ;;
  esac
  [ "$(wc -l <"$ERR")" -eq 1 ] || fail "$what: expected one line on stderr, got: $(cat "$ERR")"
  grep -qF -- "$text" "$ERR" || fail "$what: stderr lacks '$text': $(cat "$ERR")"
}

finish() {
  if [ "$FAILURES" -ne 0 ]; then
    echo "$FAILURES failure(s)" >&2
    exit 1
  fi
  echo "ok"
}

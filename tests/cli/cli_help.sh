# Help and version text, as users of command-line tools expect them.
. "$(dirname "$0")/cli_test_lib.sh"
# The commands as the program's command table lists them.
COMMANDS=$(grep -o '&kCommand[A-Za-z]*' "$(dirname "$0")/../../cli/commands/registry.cpp" | sed 's/&kCommand//' |
  tr '[:upper:]' '[:lower:]')
[ "$(echo "$COMMANDS" | wc -w)" -ge 8 ] || fail "no command table in cli/commands/registry.cpp: $COMMANDS"
run_mirvo --version
[ "$STATUS" -eq 0 ] && grep -Eq '^mirvo [0-9]+\.[0-9]+\.[0-9]+$' "$OUT" || fail "--version: $(cat "$OUT")"
for args in "--help" "-h" "help"; do
  run_mirvo $args
  [ "$STATUS" -eq 0 ] || fail "$args exits $STATUS"
  for cmd in $COMMANDS; do grep -q "^  $cmd " "$OUT" || fail "$args does not list $cmd"; done
done
for cmd in $COMMANDS; do
  run_mirvo "$cmd" --help
  [ "$STATUS" -eq 0 ] || fail "$cmd --help exits $STATUS"
  grep -q "^usage: mirvo $cmd" "$OUT" || fail "$cmd --help: $(head -n 2 "$OUT")"
  [ -s "$ERR" ] && fail "$cmd --help wrote to stderr"
done
# Help wins over everything else on the line, even bad options.
run_mirvo run --frobnicate --help
[ "$STATUS" -eq 0 ] || fail "run --frobnicate --help exits $STATUS"
# No command: usage on stderr, status 2.
run_mirvo
[ "$STATUS" -eq 2 ] || fail "no command exits $STATUS"
grep -q '^usage: mirvo' "$ERR" || fail "no usage on stderr without a command"
[ -s "$OUT" ] && fail "usage error wrote to stdout"
finish

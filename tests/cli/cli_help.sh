# Help and version text, as users of command-line tools expect them.
. "$(dirname "$0")/cli_test_lib.sh"
# The commands as the program's command table lists them.
COMMANDS=$(grep -o '&kCommand[A-Za-z]*' "$(dirname "$0")/../../cli/commands/registry.cpp" | sed 's/&kCommand//' |
  tr '[:upper:]' '[:lower:]')
[ "$(echo "$COMMANDS" | wc -w)" -ge 8 ] || fail "no command table in cli/commands/registry.cpp: $COMMANDS"
ok --version && grep -Eqx 'mirvo [0-9]+\.[0-9]+\.[0-9]+' "$OUT" || fail "--version: $(cat "$OUT")"
for args in --help -h help; do
  ok $args
  for cmd in $COMMANDS; do grep -q "^  $cmd " "$OUT" || fail "$args does not list $cmd"; done
done
# Help wins over everything else on the line, even bad options.
for cmd in $COMMANDS "run --frobnicate"; do
  ok $cmd --help
  grep -q "^usage: mirvo ${cmd%% *}" "$OUT" && [ ! -s "$ERR" ] || fail "$cmd --help: $(head -n 2 "$OUT" "$ERR")"
done
# No command: usage on stderr, status 2.
run_mirvo
[ "$STATUS" -eq 2 ] && grep -q '^usage: mirvo' "$ERR" && [ ! -s "$OUT" ] || fail "no command: status $STATUS"
finish

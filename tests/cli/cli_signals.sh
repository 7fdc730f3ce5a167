# SIGINT or SIGTERM in the middle of a long call leaves no temporary file
# behind and no half-written output, and the call ends by that signal.
. "$(dirname "$0")/cli_test_lib.sh"
make_fixtures
# Job control: background jobs keep SIGINT instead of ignoring it.
set -m
FRAMES=()
for _ in $(seq 2000); do FRAMES+=("$T/in/stats_000.txt"); done
for sig in INT TERM; do
  for cmd in run demo; do
    D=$T/$cmd-$sig
    mkdir -p "$D"
    case $cmd in
      run) "$MIRVO" run --base "$T/in/base.h" --stats "${FRAMES[@]}" --debug --png --out-dir "$D" >/dev/null 2>&1 & ;;
      demo) "$MIRVO" demo --frames 2000 --debug --save-raw --out-dir "$D" >/dev/null 2>&1 & ;;
    esac
    pid=$!
    # Signalled while outputs are being written: a temporary file exists.
    seen=no
    for _ in $(seq 3000); do
      [ -n "$(find "$D" -maxdepth 1 -name '.*.tmp.*' -print -quit)" ] && seen=yes && break
      sleep 0.01
    done
    [ $seen = yes ] || fail "$cmd: no temporary file seen before SIG$sig"
    kill -s "$sig" "$pid"
    wait "$pid"
    status=$?
    [ "$status" -eq $((128 + $(kill -l "$sig"))) ] || fail "$cmd: exit status $status after SIG$sig"
    [ -z "$(find "$D" -name '.*.tmp.*')" ] || fail "$cmd: SIG$sig left temporary files: $(find "$D" -name '.*.tmp.*')"
    # Whatever was written is complete.
    for t in "$D"/table_*.h; do
      [ ! -e "$t" ] || [ "$(wc -l <"$t")" -eq 64 ] || fail "$cmd: $t is incomplete after SIG$sig"
    done
  done
done
finish

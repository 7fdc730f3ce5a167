# The committed built-in tuning is what the commands make from the committed
# calibration: regenerating it changes nothing.
. "$(dirname "$0")/cli_test_lib.sh"
ROOT=$(cd "$(dirname "$0")/../.." && pwd)
bash "$ROOT/scripts/make_default_tuning.sh" "$MIRVO" "$T/default_tuning.h" >"$T/log" 2>&1 ||
  fail "make_default_tuning.sh failed: $(cat "$T/log")"
cmp -s "$T/default_tuning.h" "$ROOT/data/default_tuning.h" ||
  fail "data/default_tuning.h differs from what scripts/make_default_tuning.sh makes; run it and rebuild"
finish

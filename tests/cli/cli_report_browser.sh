# The report of a small run, opened in a real browser (headless Chromium,
# no network): the page must load without console messages and render to a
# screenshot that is not blank. The screenshot and the page are kept under
# the build directory (the fourth argument) for a person to look at.
# Exits 77 (skipped) when Chromium is not installed.
. "$(dirname "$0")/cli_test_lib.sh"
ARTEFACTS=$4
CHROMIUM=$(command -v chromium || command -v chromium-browser || true)
if [ -z "$CHROMIUM" ]; then
  echo "SKIP: chromium is not installed (Debian package chromium)"
  exit 77
fi
PY=/usr/bin/python3

# shoot PAGE PNG LOG: a screenshot of a local page, the browser's log in LOG.
shoot() {
  local profile
  profile=$(mktemp -d "$T/profile.XXXXXX")
  timeout 120 "$CHROMIUM" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync --user-data-dir="$profile" \
    --enable-logging=stderr --v=0 --hide-scrollbars --window-size=1200,2600 --screenshot="$2" "file://$1" \
    >"$3" 2>&1
}

# Console lines are what a page's scripts or failed loads print.
console_lines() { grep -E ':CONSOLE[:(]|Uncaught' "$1"; }

# The check itself must see a script error: a page with one is caught.
printf '<!DOCTYPE html><p>x</p><script>undefined_function()</script>\n' >"$T/broken.html"
shoot "$T/broken.html" "$T/broken.png" "$T/broken.log"
console_lines "$T/broken.log" | grep -q "Uncaught ReferenceError" ||
  fail "the browser log does not show a script error of a broken page; console capture does not work"

D=$T/run
run_mirvo demo --frames 6 --no-png --no-sync --out-dir "$D"
[ "$STATUS" -eq 0 ] || fail "demo failed: $(cat "$ERR")"
run_mirvo report "$D"
[ "$STATUS" -eq 0 ] || fail "report failed: $(cat "$ERR")"
shoot "$D/report.html" "$T/report.png" "$T/report.log" || fail "chromium failed ($?): $(tail -n 5 "$T/report.log")"
if console_lines "$T/report.log" >"$T/console.txt"; then
  fail "the report page printed to the console: $(head -n 5 "$T/console.txt")"
fi
[ -s "$T/report.png" ] || fail "no screenshot"

# Not blank: many colours and many pixels that are not the white page.
$PY - "$T/report.png" <<'PYEOF' || fail "the screenshot looks blank"
import sys
import matplotlib.image as mpimg
import numpy as np
img = mpimg.imread(sys.argv[1])[..., :3]
ink = np.any(img < 0.9, axis=2).mean()
colours = len(np.unique((img * 255).astype(np.uint8).reshape(-1, 3), axis=0))
print(f"screenshot {img.shape[1]}x{img.shape[0]}: {ink:.1%} of the pixels inked, {colours} colours, std {img.std():.3f}")
sys.exit(0 if ink > 0.05 and colours > 200 and img.std() > 0.05 else 1)
PYEOF

mkdir -p "$ARTEFACTS"
cp "$T/report.png" "$ARTEFACTS/report_screenshot.png"
cp "$D/report.html" "$ARTEFACTS/report.html"
echo "screenshot: $ARTEFACTS/report_screenshot.png"
finish

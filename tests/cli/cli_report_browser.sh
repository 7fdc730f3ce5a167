# The report of a small run, opened in a real browser (headless Chromium,
# no network): the page must load without console messages and render to a
# screenshot that is not blank, and a copy with a checking script appended
# finds every image decoded and the radio buttons flipping each before/after
# pair in place. The screenshot and the page are kept under the build
# directory (the fourth argument). Exits 77 (skipped) when Chromium is not installed.
. "$(dirname "$0")/cli_test_lib.sh"
ARTEFACTS=$4
CHROMIUM=$(command -v chromium || command -v chromium-browser) || { echo "SKIP: chromium is not installed"; exit 77; }
# chrome PAGE LOG ARGS...: the browser on a local page, its log in LOG.
chrome() {
  local page=$1 log=$2
  shift 2
  timeout 120 "$CHROMIUM" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync --user-data-dir="$(mktemp -d "$T/p.XXXXXX")" \
    --enable-logging=stderr --v=0 "$@" "file://$page" 2>"$log"
}
shoot() { chrome "$1" "$3" --hide-scrollbars --window-size=1200,2600 --screenshot="$2" >/dev/null; }
# Console lines are what a page's scripts or failed loads print; the check must see a broken page's.
console_lines() { grep -E ':CONSOLE[:(]|Uncaught' "$1"; }
printf '<!DOCTYPE html><p>x</p><script>undefined_function()</script>\n' >"$T/broken.html"
shoot "$T/broken.html" "$T/broken.png" "$T/broken.log"
console_lines "$T/broken.log" | grep -q "Uncaught ReferenceError" || fail "console capture does not see a script error"

D=$T/run
ok demo --frames 6 --no-sync --out-dir "$D"
ok report "$D"
shoot "$D/report.html" "$T/report.png" "$T/report.log" || fail "chromium failed ($?): $(tail -n 5 "$T/report.log")"
console_lines "$T/report.log" && fail "the report page printed to the console"
# Not blank: many colours and many pixels that are not the white page.
/usr/bin/python3 - "$T/report.png" <<'PYEOF' || fail "the screenshot looks blank"
import sys
import matplotlib.image as mpimg
import numpy as np
img = mpimg.imread(sys.argv[1])[..., :3]
ink = np.any(img < 0.9, axis=2).mean()
colours = len(np.unique((img * 255).astype(np.uint8).reshape(-1, 3), axis=0))
print(f"screenshot {img.shape[1]}x{img.shape[0]}: {ink:.1%} of the pixels inked, {colours} colours, std {img.std():.3f}")
sys.exit(0 if ink > 0.05 and colours > 200 and img.std() > 0.05 else 1)
PYEOF

# The pictures: within 300 KB a kept frame, no script in the page itself.
kept=$(grep -c '<div class="pv">' "$D/report.html") || fail "the report has no before/after pictures"
size=$(stat -c %s "$D/report.html")
[ $((size / kept)) -lt 300000 ] || fail "the report holds $((size / kept)) bytes a kept frame (limit 300000)"
grep -q '<script' "$D/report.html" && fail "the report page carries a script"
cat "$D/report.html" - >"$D/check.html" <<'HTMLEOF'
<script>
window.addEventListener('load', () => {
  const bad = [...document.images].filter(i => !i.complete || i.naturalWidth === 0).length;
  const pv = document.querySelector('.pv');
  const shown = s => getComputedStyle(pv.querySelector(s)).display !== 'none';
  const flips = [];
  for (const [mode, before, after] of [['a', false, true], ['b', true, false], ['s', true, true]]) {
    pv.querySelector('label[for$="' + mode + '"]').click();
    flips.push(shown('.before') === before && shown('.after') === after);
  }
  const pairs = document.querySelectorAll('.pv figure.before img.photo').length;
  document.title = 'check ' + (bad === 0 && flips.every(x => x) && pairs > 0 ? 'ok' : 'bad') + ' images=' +
      document.images.length + ' undecoded=' + bad + ' flips=' + flips.join(',');
});
</script>
HTMLEOF
chrome "$D/check.html" "$T/check.log" --virtual-time-budget=5000 --dump-dom >"$T/check.dom" ||
  fail "chromium failed on the checking page: $(tail -n 3 "$T/check.log")"
verdict=$(grep -o '<title>check [^<]*' "$T/check.dom" | sed 's/<title>//')
echo "pictures: $kept pairs, $((size / 1024)) KB page; $verdict"
case "$verdict" in "check ok"*) ;; *) fail "pictures: ${verdict:-no verdict from the checking page}" ;; esac
mkdir -p "$ARTEFACTS" && cp "$T/report.png" "$ARTEFACTS/report_screenshot.png" && cp "$D/report.html" "$ARTEFACTS/"
echo "screenshot: $ARTEFACTS/report_screenshot.png"
finish

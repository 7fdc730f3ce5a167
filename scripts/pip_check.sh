#!/usr/bin/env bash
# Installs the Python package as its users do, offline, into a fresh virtual
# environment over Debian's packages, then imports it from outside the tree:
#   python3 -m venv --system-site-packages v && v/bin/pip install --no-build-isolation --no-index .
# Checks the version against the CMake project's and that the stubs and
# py.typed came along.
set -euo pipefail
cd "$(dirname "$0")/.."
W=$(mktemp -d "${TMPDIR:-/tmp}/mirvo_pip.XXXXXX")
trap 'rm -rf "$W"' EXIT
/usr/bin/python3 -m venv --system-site-packages "$W/v"
"$W/v/bin/pip" install -q --no-build-isolation --no-index .
want=$(sed -n 's/^project(mirvo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
tree=$PWD
cd "$W"
"$W/v/bin/python" - "$want" "$tree" <<'PY'
import os, sys
import mirvo
here = os.path.dirname(mirvo.__file__)
assert mirvo.__version__ == sys.argv[1], (mirvo.__version__, sys.argv[1])
assert not here.startswith(sys.argv[2]), here
for name in ("_mirvo.pyi", "py.typed", "corpus.py"):
    assert os.path.isfile(os.path.join(here, name)), name
assert mirvo.load_table is mirvo._mirvo.load_table
print(f"pip check: mirvo {mirvo.__version__} from {here}")
PY

#!/usr/bin/env bash
# Sets everything up, builds the mirvo program and runs its built-in demo.
set -euo pipefail
cd "$(dirname "$0")/.."
MIRVO_SKIP_CROSS=1 scripts/setup.sh
scripts/build.sh host >/dev/null
exec build/host/cli/mirvo demo --out-dir out/demo "$@"

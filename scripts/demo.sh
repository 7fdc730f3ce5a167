#!/usr/bin/env bash
# Installs what the mirvo program needs, builds the library and the program
# (no tests, no benchmarks) and runs its built-in demo.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh demo
scripts/build.sh demo >/dev/null
exec build/demo/cli/mirvo demo --out-dir out/demo "$@"

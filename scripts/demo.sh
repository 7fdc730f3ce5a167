#!/usr/bin/env bash
# Installs what the mirvo program needs, builds the library and the program
# (no tests, no benchmarks), runs its built-in demo and writes its report
# (out/demo/report.html, with pictures of the frames before and after).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh demo
scripts/build.sh demo >/dev/null
build/demo/cli/mirvo demo --out-dir out/demo "$@"
exec build/demo/cli/mirvo report out/demo

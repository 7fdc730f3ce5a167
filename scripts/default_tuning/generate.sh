#!/usr/bin/env bash
# Regenerates the built-in tuning record (io/default_tuning.cpp and
# data/default_tuning.h) from a measured colour shading calibration.
#   scripts/default_tuning/generate.sh [CALIBRATION_JSON]
# Builds the library into build/default-tuning first: the gradient blocks come
# from the library's own Crop. Run by hand; the outputs are checked in.
set -euo pipefail
cd "$(dirname "$0")/../.."
calibration="${1:-/work/shared/data/lsc/rpi_vc4_imx219.json}"
build=build/default-tuning
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMIRVO_BUILD_TESTS=OFF -DMIRVO_BUILD_CLI=OFF >/dev/null
cmake --build "$build" -j2 --target mirvo_core >/dev/null
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
python3 scripts/default_tuning/make_surfaces.py "$calibration" "$tmp/surfaces.txt"
# Same flags as the library: no contraction, so nothing differs from its Crop.
c++ -std=c++17 -O2 -ffp-contract=off -I. -I/usr/include/android scripts/default_tuning/generate_default_tuning.cpp \
  -L"$build" -lmirvo_core -Wl,-rpath,"$PWD/$build" -o "$tmp/generate_default_tuning"
"$tmp/generate_default_tuning" "$tmp/surfaces.txt" .
clang-format -i io/default_tuning.cpp
echo "wrote io/default_tuning.cpp and data/default_tuning.h"

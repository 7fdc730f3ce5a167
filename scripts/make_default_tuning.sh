#!/usr/bin/env bash
# Makes the built-in tuning, data/default_tuning.h, with the program's own
# commands from the measured calibration in data/calibration/: the lens
# shading tables at each calibrated colour temperature are imported, and the
# tint profile is learned from them with the 3000 K table as the reference.
# io/default_tuning.cpp compiles the header as it is. Run by hand after a
# change of the inputs or of mirvo learn, then rebuild and review the diff:
#   scripts/make_default_tuning.sh [MIRVO] [OUT]
# MIRVO defaults to build/host/cli/mirvo, OUT to data/default_tuning.h; the
# test cli_default_tuning runs it with another OUT and compares.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
mirvo="${1:-$root/build/host/cli/mirvo}"
out="${2:-$root/data/default_tuning.h}"
calibration="$root/data/calibration/rpi_vc4_imx219.json"
tmp="$(mktemp -d)"
trap 'rm -rf "$tmp"' EXIT
tables=()
for ct in 3000 3850 6000; do
  "$mirvo" table --import "$calibration" --ct "$ct" --out "$tmp/base_$ct.h" >/dev/null
  tables+=("$tmp/base_$ct.h")
done
# The thresholds are the built-in ones (InitMirvoParams); only the profile is learned.
"$mirvo" learn --table "${tables[@]}" --reference "$tmp/base_3000.h" --out "$out"

#!/usr/bin/env bash
# Installs what building, testing and cross-testing mirvo needs on Debian 12.
# Idempotent: packages already present are not fetched again.
#   scripts/setup.sh        everything (what scripts/test.sh needs)
#   scripts/setup.sh demo   only what building and running the program needs
set -euo pipefail
subset="${1:-all}"

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

# What building and running the program needs; everything else adds to it.
DEMO_PKGS=(cmake ninja-build g++ libpng-dev libjpeg-dev android-liblog-dev nlohmann-json3-dev libraw-dev pkg-config)
# darktable: its darktable-cli is the independent raw developer that must
# apply the GainMaps we write.
HOST_PKGS=("${DEMO_PKGS[@]}" libgtest-dev libbenchmark-dev
           clang-14 libclang-rt-14-dev clang-format-14 valgrind
           pybind11-dev python3-dev python3-pybind11 python3-numpy python3-pytest
           python3-matplotlib mypy python3-dask python3-distributed
           python3-venv python3-setuptools python3-wheel gcovr chromium darktable
           golang-go golang-android-soong-dev golang-github-google-blueprint-dev golang-goprotobuf-dev
           blueprint-tools)
CROSS_PKGS=(g++-aarch64-linux-gnu qemu-user android-liblog-dev:arm64 libc6:arm64 libstdc++6:arm64)

case "$subset" in
  all) want=("${HOST_PKGS[@]}") ;;
  demo)
    want=("${DEMO_PKGS[@]}")
    MIRVO_SKIP_CROSS=1
    ;;
  *)
    echo "setup: unknown subset $subset (all, demo)" >&2
    exit 2
    ;;
esac
if [ "${MIRVO_SKIP_CROSS:-0}" != "1" ]; then
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    $SUDO dpkg --add-architecture arm64
    NEED_UPDATE=1
  fi
  want+=("${CROSS_PKGS[@]}")
fi

missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ "${#missing[@]}" -gt 0 ] || [ "${NEED_UPDATE:-0}" = "1" ]; then
  echo "setup: installing ${missing[*]:-(package lists only)}"
  $SUDO apt-get update -q
  if [ "${#missing[@]}" -gt 0 ]; then
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
  fi
else
  echo "setup: all packages present"
fi

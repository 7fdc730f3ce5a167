#!/usr/bin/env bash
# Configures and builds one flavour of the project into build/<flavour>.
#   host   x86-64 Release with tests, CLI and benchmarks, -Werror
#   arm64  AArch64 cross build of the library and tests (run under qemu)
#   asan   clang-14 with AddressSanitizer and UndefinedBehaviorSanitizer
#   demo   x86-64 Release of the library and the program only
set -euo pipefail
cd "$(dirname "$0")/.."
flavour="${1:-host}"
dir="build/${flavour}"
common=(-G Ninja -DMIRVO_WERROR=ON)
targets=()
case "$flavour" in
  host)  args=(-DCMAKE_BUILD_TYPE=Release -DMIRVO_BUILD_BENCH=ON) ;;
  arm64) args=(-DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake -DMIRVO_BUILD_CLI=OFF) ;;
  asan)  args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14
               -DMIRVO_SANITIZE=ON) ;;
  demo)  args=(-DCMAKE_BUILD_TYPE=Release -DMIRVO_BUILD_TESTS=OFF -DMIRVO_BUILD_BENCH=OFF -DMIRVO_BUILD_FUZZ=OFF)
         targets=(--target mirvo) ;;
  *) echo "unknown flavour: $flavour (host, arm64, asan, demo)" >&2; exit 2 ;;
esac
cmake -S . -B "$dir" "${common[@]}" "${args[@]}" >/dev/null
cmake --build "$dir" -j "$(nproc)" "${targets[@]}"

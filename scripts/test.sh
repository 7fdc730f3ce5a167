#!/usr/bin/env bash
# Sets everything up and runs the whole test suite: natively on x86-64 (plus a
# benchmark smoke run), cross-built for AArch64 under qemu, with ASan + UBSan,
# the command-line scenarios under valgrind, every fuzz target briefly,
# the installed library used as a HAL project would, the Python package
# installed by pip, the Android.bp check (paths, and Android 11's own Soong
# code reading it), and line and branch coverage (gated).
# Pass steps to run a subset: scripts/test.sh host asan
#   (host install pip android-bp arm64 asan valgrind fuzz coverage)
set -euo pipefail
cd "$(dirname "$0")/.."
steps=("$@")
[ "${#steps[@]}" -gt 0 ] || steps=(host install pip android-bp arm64 asan valgrind fuzz coverage)
scripts/setup.sh
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
start=$SECONDS
for s in "${steps[@]}"; do
  t0=$SECONDS
  case "$s" in
    install)
      echo "=== install: the installed library used from examples/hal_loop"
      scripts/install_check.sh
      ;;
    pip)
      echo "=== pip: pip install . in a fresh venv, offline, imported from outside the tree"
      scripts/pip_check.sh
      ;;
    android-bp)
      echo "=== android-bp: Android.bp lists every source; the Android 11 build system's own code reads it"
      scripts/check_android_bp.sh
      scripts/test_android_bp_check.sh
      ;;
    valgrind)
      echo "=== valgrind: command-line scenarios under memcheck"
      scripts/valgrind.sh
      ;;
    coverage)
      echo "=== coverage: GCC --coverage build, tests, gcovr (HTML in build/coverage/html)"
      scripts/coverage.sh
      ;;
    fuzz)
      echo "=== fuzz: every target for ${MIRVO_FUZZ_SECONDS:-20}s"
      scripts/fuzz.sh "${MIRVO_FUZZ_SECONDS:-20}"
      ;;
    *)
      echo "=== ${s}: build"
      scripts/build.sh "$s"
      echo "=== ${s}: test"
      # The soak runs a shorter count where every frame is emulated or
      # instrumented; the long run is documented in tests/soak/engine_soak.cpp.
      case "$s" in
        host) export MIRVO_SOAK_FRAMES=20000 ;;
        *) export MIRVO_SOAK_FRAMES=3000 ;;
      esac
      ctest --test-dir "build/${s}" --output-on-failure -j "$(nproc)" --timeout 900
      if [ "$s" = host ] && [ -f build/host/artefacts/report_screenshot.png ]; then
        echo "=== host: the report as the browser test saw it: build/host/artefacts/report_screenshot.png"
      fi
      if [ "$s" = host ]; then
        echo "=== host: benchmark smoke run (no timing assertions)"
        build/host/bench/mirvo_bench --benchmark_min_time=0.01 >build/host/bench-smoke.txt
        tail -n +1 build/host/bench-smoke.txt | grep -E "^BM_" | head -40
      fi
      ;;
  esac
  echo "=== ${s}: done in $((SECONDS - t0))s"
done
echo "=== all steps passed in $((SECONDS - start))s"

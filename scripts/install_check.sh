#!/usr/bin/env bash
# Installs mirvo into a temporary prefix and uses it as a camera HAL project
# would: builds examples/hal_loop out of tree through find_package(mirvo) and
# through pkg-config, and runs both. Also checks the installed tree: headers
# only under include/mirvo/, every installed header compiles on its own, the
# library exports only names of the mirvo namespace outside mirvo::internal
# (no standard-library template instances) and every function of the
# interface, and the installed program runs.
#   scripts/install_check.sh            from build/host (scripts/build.sh host)
#   scripts/install_check.sh static     a fresh static-library build (build/install-static)
set -euo pipefail
cd "$(dirname "$0")/.."
variant="${1:-shared}"
W=$(mktemp -d "${TMPDIR:-/tmp}/mirvo_install.XXXXXX")
trap 'rm -rf "$W"' EXIT
prefix=$W/prefix
fail() {
  echo "install check: $*" >&2
  exit 1
}

case "$variant" in
  shared)
    build=build/host
    [ -f "$build/CMakeCache.txt" ] || scripts/build.sh host
    ;;
  static)
    build=build/install-static
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMIRVO_WERROR=ON -DBUILD_SHARED_LIBS=OFF \
      -DMIRVO_BUILD_TESTS=OFF -DMIRVO_BUILD_BENCH=OFF >/dev/null
    cmake --build "$build" -j "$(nproc)" --target mirvo_core mirvo
    ;;
  *) fail "unknown variant $variant (shared, static)" ;;
esac
cmake --install "$build" --prefix "$prefix" >"$W/install.log"
echo "installed $(wc -l <"$W/install.log") files into a temporary prefix"

# Headers: nothing generic in the prefix's include folder.
stray=$(cd "$prefix/include" && find . -type f ! -path "./mirvo/*")
[ -z "$stray" ] || fail "headers outside include/mirvo: $stray"
headers=$(cd "$prefix/include" && find mirvo -name "*.h" | sort)
echo "headers: $(echo "$headers" | wc -l) under include/mirvo"
for h in $headers; do
  echo "#include <$h>" >"$W/one.cpp"
  g++ -std=c++17 -fsyntax-only -Wall -Wextra -Werror -I"$prefix/include" -I"$prefix/include/mirvo" "$W/one.cpp" \
    2>"$W/one.err" || fail "<$h> does not compile on its own against the prefix: $(head -3 "$W/one.err")"
done

# Exported symbols of the library (shared variant).
lib=$(find "$prefix/lib" -maxdepth 1 -name "libmirvo_core.so.*.*.*" | head -1)
if [ -n "$lib" ]; then
  nm -D --defined-only -C "$lib" | cut -d' ' -f3- | sort >"$W/exports.txt"
  echo "libmirvo_core exports $(wc -l <"$W/exports.txt") symbols"
  # Templates of the interface demangle with their return type first.
  foreign=$(grep -Ev '^((void|int) )?mirvo::' "$W/exports.txt" || true)
  [ -z "$foreign" ] || fail "exports outside namespace mirvo: $(echo "$foreign" | head -5)"
  internal=$(grep -E '^((void|int) )?mirvo::internal::' "$W/exports.txt" || true)
  [ -z "$internal" ] || fail "exports of internals: $(echo "$internal" | head -5)"
  for f in Core::Core Core::LoadMirvoParams Core::SetSensorCrop Core::SetStats Core::SetInputLscTable \
    Core::Execute Core::GetOutputLscTable Core::GetMutableMirvoParams Core::GetMutableDebugParams \
    Core::LoadOverrideMap MirvoHybrid::SetMirvoParams MirvoHybrid::SetMirvoDebugParams \
    MirvoHybrid::SetLscBaseTable MirvoHybrid::LoadLscBaseTable MirvoHybrid::ApplyLscBaseTable \
    MirvoHybrid::GetMirvoTable MirvoHybrid::SetStats MirvoHybrid::RemoveUnreliableStats LogStats::Init \
    MirvoHybrid::EstimateGradient MirvoHybrid::FitLearnedTintProfile MirvoHybrid::TemporalFilter \
    MirvoHybrid::IntegratorSum MirvoHybrid::IntegrateGradientResidue MirvoHybrid::LogToLinear \
    MirvoHybrid::GenerateDlscTable MirvoHybrid::MergeTintBaseTables MirvoHybrid::SaveDisgnosticData \
    InitMirvoParams Crop LoadLearnedTintProfile 'BicubicKernel<13>' 'BicubicKernel<17>' 'BicubicKernel<24>' \
    'BicubicKernel<32>' Resample13x17to24x32 CubicInterpolate_rgbg LoadTuningHeaderFile \
    LscTableLoadHeaderFile LscTableSaveHeaderFile LscTableSaveTovanSimFile MirvoState::Set MirvoState::SaveAll \
    LscGain::Init LscGain::Save MirvoTuning::LoadHeaderFile MirvoTuning::GetTuningTable BayerRaw::ReadRawImage \
    BayerRaw::SaveRaw Stats::ConfigureStatsSize Stats::CreateFromRaw Stats::LoadSimStatsElmrak Stats::Save \
    Stats::SaveAsText 'Matrix<float>::ToString'; do
    grep -qF "mirvo::$f(" "$W/exports.txt" || grep -qF "mirvo::$f[" "$W/exports.txt" ||
      fail "the interface function mirvo::$f is not exported (mark its declaration MIRVO_EXPORT)"
  done
fi

# The installed program finds liblog through its run path.
version=$(sed -n 's/^project(mirvo VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
out=$(env -u LD_LIBRARY_PATH "$prefix/bin/mirvo" --version)
[ "$out" = "mirvo $version" ] || fail "installed mirvo --version printed '$out', expected 'mirvo $version'"
echo "$out"

# The example, out of tree, through both package descriptions.
cmake -S examples/hal_loop -B "$W/find_package" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >"$W/cmake.log" ||
  fail "find_package(mirvo) configure failed: $(tail -5 "$W/cmake.log")"
cmake --build "$W/find_package" >"$W/cmake-build.log" || fail "find_package build failed: $(tail -5 "$W/cmake-build.log")"
mkdir "$W/pkg_config"
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" make -s -C examples/hal_loop OUT="$W/pkg_config" >"$W/make.log" 2>&1 ||
  fail "pkg-config build failed: $(tail -5 "$W/make.log")"
echo "== hal_loop through find_package(mirvo), installed tuning file"
env -u LD_LIBRARY_PATH "$W/find_package/hal_loop" --frames 8 --tuning "$prefix/share/mirvo/default_tuning.h"
echo "== hal_loop through pkg-config, built-in tuning"
env -u LD_LIBRARY_PATH "$W/pkg_config/hal_loop" --frames 8
# As a subproject (add_subdirectory, FetchContent): only the library, and
# nothing in the parent's cache but mirvo's own options and liblog's location.
mkdir "$W/parent"
cat >"$W/parent/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(parent CXX)
add_subdirectory("$PWD" mirvo)
add_executable(hal_loop "$PWD/examples/hal_loop/hal_loop.cpp")
target_link_libraries(hal_loop PRIVATE mirvo::mirvo_core)
CMAKE
cmake -S "$W/parent" -B "$W/parent/build" -G Ninja >"$W/parent.log" || fail "as a subproject: $(tail -5 "$W/parent.log")"
foreign=$(grep -E '^[A-Za-z_]+:' "$W/parent/build/CMakeCache.txt" | cut -d: -f1 |
  grep -Ev '^(MIRVO_|ANDROID_LOG_|FIND_PACKAGE_MESSAGE_DETAILS_|_?CMAKE_|parent_|mirvo_)' || true)
[ -z "$foreign" ] || fail "as a subproject, mirvo wrote into the parent's cache: $foreign"
grep -q '^CMAKE_BUILD_TYPE:STRING=$' "$W/parent/build/CMakeCache.txt" ||
  fail "as a subproject, mirvo set the parent's CMAKE_BUILD_TYPE"
for t in mirvo mirvo_bench core_test; do
  if ninja -C "$W/parent/build" -t query "$t" >/dev/null 2>&1; then fail "as a subproject, mirvo still builds $t"; fi
done
ninja -C "$W/parent/build" -t query hal_loop >/dev/null || fail "as a subproject, the parent's target is missing"
echo "as a subproject: only the library, the parent's cache untouched"
echo "install check ($variant): passed"

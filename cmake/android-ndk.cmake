# Device build with the Android NDK (API 30, arm64-v8a). Not exercised by CI;
# kept in step with the host builds so an integrator can run:
#   cmake -B build-android -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/android-ndk.cmake \
#         -DANDROID_NDK=$HOME/Android/Sdk/ndk/<version>
# Tests and benchmarks are off unless asked for (-DMIRVO_BUILD_TESTS=ON); the
# program is not built for Android. See docs/android.md.
if(NOT ANDROID_NDK)
  set(ANDROID_NDK $ENV{ANDROID_NDK})
endif()
if(NOT ANDROID_NDK)
  message(FATAL_ERROR "ANDROID_NDK is not set: pass -DANDROID_NDK=<NDK folder> or set it in the environment")
elseif(NOT EXISTS "${ANDROID_NDK}/build/cmake/android.toolchain.cmake")
  message(FATAL_ERROR "ANDROID_NDK=${ANDROID_NDK} is not an Android NDK (no build/cmake/android.toolchain.cmake)")
endif()
set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-30)
set(ANDROID_STL c++_shared)
include(${ANDROID_NDK}/build/cmake/android.toolchain.cmake)

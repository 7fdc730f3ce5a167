# Device build with the Android NDK (API 30, arm64-v8a). Not exercised by CI;
# kept in step with the host builds so an integrator can run:
#   cmake -B build-android -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/android-ndk.cmake \
#         -DANDROID_NDK=$HOME/Android/Sdk/ndk/<version> -DMIRVO_BUILD_CLI=OFF -DMIRVO_BUILD_TESTS=OFF
if(NOT ANDROID_NDK)
  set(ANDROID_NDK $ENV{ANDROID_NDK})
endif()
set(ANDROID_ABI arm64-v8a)
set(ANDROID_PLATFORM android-30)
set(ANDROID_STL c++_shared)
include(${ANDROID_NDK}/build/cmake/android.toolchain.cmake)

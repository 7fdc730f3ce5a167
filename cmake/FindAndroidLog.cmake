# Locates Debian's android-liblog-dev for the target architecture:
# header <android/log.h> under /usr/include/android, liblog.so under
# /usr/lib/<triplet>/android. An NDK build finds liblog in its sysroot instead.
if(ANDROID)
  find_library(ANDROID_LOG_LIBRARY log REQUIRED)
  set(ANDROID_LOG_INCLUDE_DIR "")
else()
  if(CMAKE_LIBRARY_ARCHITECTURE)
    set(_mirvo_triplet ${CMAKE_LIBRARY_ARCHITECTURE})
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(_mirvo_triplet aarch64-linux-gnu)
  else()
    set(_mirvo_triplet x86_64-linux-gnu)
  endif()
  find_path(ANDROID_LOG_INCLUDE_DIR android/log.h
    PATHS /usr/include/android NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  find_library(ANDROID_LOG_LIBRARY NAMES log
    PATHS /usr/lib/${_mirvo_triplet}/android NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
endif()
add_library(AndroidLog::log UNKNOWN IMPORTED)
set_target_properties(AndroidLog::log PROPERTIES IMPORTED_LOCATION "${ANDROID_LOG_LIBRARY}")
if(ANDROID_LOG_INCLUDE_DIR)
  set_target_properties(AndroidLog::log PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${ANDROID_LOG_INCLUDE_DIR}")
endif()
message(STATUS "liblog: ${ANDROID_LOG_LIBRARY}")

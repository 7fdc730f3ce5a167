# Finds Android's log library (liblog) and defines the imported target
# AndroidLog::log. An NDK build finds liblog in its sysroot; elsewhere this is
# Debian's android-liblog-dev for the target architecture: the header
# <android/log.h> under /usr/include/android, liblog.so under
# /usr/lib/<triplet>/android. Installed beside mirvoConfig.cmake, so that a
# project using the installed library finds the same liblog again.
#   AndroidLog_FOUND, ANDROID_LOG_LIBRARY, ANDROID_LOG_INCLUDE_DIR,
#   ANDROID_LOG_LIBRARY_DIR (the folder an install rpath must name; empty on
#   Android, where liblog is a system library)
if(ANDROID)
  find_library(ANDROID_LOG_LIBRARY log)
  set(ANDROID_LOG_INCLUDE_DIR "")
  set(_android_log_required ANDROID_LOG_LIBRARY)
else()
  if(CMAKE_LIBRARY_ARCHITECTURE)
    set(_android_log_triplet ${CMAKE_LIBRARY_ARCHITECTURE})
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    set(_android_log_triplet aarch64-linux-gnu)
  else()
    set(_android_log_triplet x86_64-linux-gnu)
  endif()
  find_path(ANDROID_LOG_INCLUDE_DIR android/log.h
    PATHS /usr/include/android NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  find_library(ANDROID_LOG_LIBRARY NAMES log
    PATHS /usr/lib/${_android_log_triplet}/android NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  set(_android_log_required ANDROID_LOG_LIBRARY ANDROID_LOG_INCLUDE_DIR)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidLog
  REQUIRED_VARS ${_android_log_required}
  FAIL_MESSAGE "Android's liblog not found (Debian: apt-get install android-liblog-dev)")

set(ANDROID_LOG_LIBRARY_DIR "")
if(AndroidLog_FOUND AND NOT ANDROID)
  get_filename_component(ANDROID_LOG_LIBRARY_DIR "${ANDROID_LOG_LIBRARY}" DIRECTORY)
endif()

if(AndroidLog_FOUND AND NOT TARGET AndroidLog::log)
  add_library(AndroidLog::log UNKNOWN IMPORTED)
  set_target_properties(AndroidLog::log PROPERTIES IMPORTED_LOCATION "${ANDROID_LOG_LIBRARY}")
  if(ANDROID_LOG_INCLUDE_DIR)
    set_target_properties(AndroidLog::log PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${ANDROID_LOG_INCLUDE_DIR}")
  endif()
endif()

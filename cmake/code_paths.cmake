# Which code paths the library is built with.
#
# MIRVO_PORTABLE_PATHS_ONLY builds only the portable paths: the C library's
# scalar logf/expf and the four-lane stage loops, whatever the machine has.
# It is how the device's path is tested on a workstation; results are the
# same bits either way.
#
# MIRVO_ANDROID_VECTOR_LOGF_EXPF lets Android builds on AArch64 take the
# vector logf/expf, which follow the C library's own algorithms (see
# docs/android.md); run vector_math_check once per platform. Off keeps the
# scalar calls there. No effect elsewhere.
option(MIRVO_PORTABLE_PATHS_ONLY "Build only the portable code paths (scalar logf/expf, four-lane loops)" OFF)
option(MIRVO_ANDROID_VECTOR_LOGF_EXPF "On Android AArch64, use the vector logf/expf" ON)
if(MIRVO_PORTABLE_PATHS_ONLY)
  add_compile_definitions(MIRVO_PORTABLE_PATHS_ONLY)
endif()
if(NOT MIRVO_ANDROID_VECTOR_LOGF_EXPF)
  add_compile_definitions(MIRVO_ANDROID_VECTOR_LOGF_EXPF=0)
endif()

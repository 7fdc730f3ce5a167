# Line and branch coverage with GCC's --coverage (gcov data next to the
# objects), read by gcovr in scripts/coverage.sh. Atomic counter updates,
# because the program writes outputs and decodes frames on several threads.
if(MIRVO_COVERAGE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    message(FATAL_ERROR "MIRVO_COVERAGE needs GCC (gcov data for gcovr)")
  endif()
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

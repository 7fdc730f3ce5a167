# Install rules: the library, the program, the public headers under
# include/mirvo/, a CMake package (mirvo::mirvo_core) and a pkg-config file.
#   cmake --install build/host --prefix /opt/mirvo
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The headers a user of the library includes, and the headers they include in
# turn. Internal headers (vector kernels, stage helpers, file-local formats)
# stay out. scripts/install_check.sh compiles each installed header alone, so
# a header missing from this list fails there.
set(MIRVO_PUBLIC_HEADERS
  core/channel.h
  core/core.h
  core/cpu_features.h
  core/crop_info.h
  core/diagnostic_dump.h
  core/error_code.h
  core/export.h
  core/lsc_table.h
  core/matrix.h
  core/mirvo_params.h
  core/mirvo_state.h
  core/parse_result.h
  core/rgbg.h
  core/stats.h
  engine/log_stats.h
  engine/mirvo_hybrid.h
  io/learned_profile_file.h
  io/lsc_table_file.h
  io/sim_rolloff_file.h
  io/tuning_file.h
  resample/bicubic.h
  resample/learned_tint_profile.h
  resample/lsc_gain.h
  tools/bayer_raw.h
  tools/stats_text.h
  tools/stats_validate.h)
set(MIRVO_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/mirvo)
foreach(header ${MIRVO_PUBLIC_HEADERS})
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${MIRVO_INCLUDE_DIR}/${dir} COMPONENT mirvo_development)
endforeach()

target_include_directories(mirvo_core INTERFACE
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
  $<INSTALL_INTERFACE:${MIRVO_INCLUDE_DIR}>)

# liblog lives outside the loader's default folders on a workstation
# (/usr/lib/<triplet>/android): the installed library and program name it in
# their run path, so neither they nor a program linked against the library
# need LD_LIBRARY_PATH. The program links the library statically.
set_target_properties(mirvo_core PROPERTIES INSTALL_RPATH "${ANDROID_LOG_LIBRARY_DIR}")
if(TARGET mirvo)
  set_target_properties(mirvo PROPERTIES INSTALL_RPATH "${ANDROID_LOG_LIBRARY_DIR}")
  install(TARGETS mirvo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT mirvo_runtime)
endif()

install(TARGETS mirvo_core EXPORT mirvoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT mirvo_runtime NAMELINK_COMPONENT mirvo_development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT mirvo_development)

set(MIRVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/mirvo)
install(EXPORT mirvoTargets NAMESPACE mirvo:: DESTINATION ${MIRVO_CMAKE_DIR} COMPONENT mirvo_development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/mirvoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/mirvoConfig.cmake INSTALL_DESTINATION ${MIRVO_CMAKE_DIR})
# Until 1.0 only the same minor version promises the same interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/mirvoConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/mirvoConfig.cmake
  ${PROJECT_BINARY_DIR}/mirvoConfigVersion.cmake
  ${PROJECT_SOURCE_DIR}/cmake/FindAndroidLog.cmake
  DESTINATION ${MIRVO_CMAKE_DIR} COMPONENT mirvo_development)

# The workstation library, its own component and exported target
# (mirvo::mirvo_workbench in mirvoWorkbenchTargets.cmake, loaded by the
# package when installed). It links the device library's internal build, so
# that static archive goes with it.
if(TARGET mirvo_workbench)
  file(GLOB_RECURSE _mirvo_workbench_headers RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/workbench/*.h)
  foreach(header ${_mirvo_workbench_headers} io/override_map.h)
    get_filename_component(dir ${header} DIRECTORY)
    install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${MIRVO_INCLUDE_DIR}/${dir} COMPONENT mirvo_workbench)
  endforeach()
  target_include_directories(mirvo_workbench INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}> $<INSTALL_INTERFACE:${MIRVO_INCLUDE_DIR}>)
  set(_mirvo_workbench_targets mirvo_workbench)
  get_target_property(_mirvo_internal_type mirvo_core_internal TYPE)
  if(_mirvo_internal_type STREQUAL "STATIC_LIBRARY")
    list(APPEND _mirvo_workbench_targets mirvo_core_internal)
  endif()
  install(TARGETS ${_mirvo_workbench_targets} EXPORT mirvoWorkbenchTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT mirvo_workbench)
  install(EXPORT mirvoWorkbenchTargets NAMESPACE mirvo:: DESTINATION ${MIRVO_CMAKE_DIR} COMPONENT mirvo_workbench)
endif()

# pkg-config: paths relative to the .pc file, so the prefix can be chosen at
# install time (cmake --install --prefix) or moved afterwards.
file(RELATIVE_PATH MIRVO_PC_TO_PREFIX
  ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" MIRVO_PC_TO_PREFIX "${MIRVO_PC_TO_PREFIX}")
# The shared library finds liblog through its own run path; a program linking
# the static library links liblog itself and needs the run path too.
if(ANDROID_LOG_LIBRARY_DIR)
  set(MIRVO_PC_LIBLOG "-L${ANDROID_LOG_LIBRARY_DIR} -llog")
  set(MIRVO_PC_LIBLOG_RPATH " -Wl,-rpath,${ANDROID_LOG_LIBRARY_DIR}")
else()
  set(MIRVO_PC_LIBLOG "-llog")
  set(MIRVO_PC_LIBLOG_RPATH "")
endif()
if(_mirvo_core_type STREQUAL "SHARED_LIBRARY")
  set(MIRVO_PC_LIBS_PRIVATE "${MIRVO_PC_LIBLOG}")
  set(MIRVO_PC_LIBS_STATIC "")
else()
  set(MIRVO_PC_LIBS_PRIVATE "")
  set(MIRVO_PC_LIBS_STATIC " ${MIRVO_PC_LIBLOG}${MIRVO_PC_LIBLOG_RPATH}")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/mirvo.pc.in ${PROJECT_BINARY_DIR}/mirvo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/mirvo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT mirvo_development)

# The default tuning as a tuning header file, a starting point for a device's own.
install(FILES ${PROJECT_SOURCE_DIR}/data/default_tuning.h DESTINATION ${CMAKE_INSTALL_DATADIR}/mirvo
  COMPONENT mirvo_development)

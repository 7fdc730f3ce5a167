# DNG frames: LibRaw decodes the pixels and levels (Debian's libraw-dev ships a
# pkg-config file; the non-threaded variant, one decoder per call).
find_package(PkgConfig REQUIRED)
pkg_check_modules(MIRVO_LIBRAW REQUIRED IMPORTED_TARGET libraw)
target_link_libraries(mirvo_workbench PRIVATE PkgConfig::MIRVO_LIBRAW)

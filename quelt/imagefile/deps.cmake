# PNG files are read and written through libpng (which brings zlib).
pkg_check_modules(QUELT_PNG REQUIRED IMPORTED_TARGET libpng)
target_link_libraries(quelt PRIVATE PkgConfig::QUELT_PNG)

# The image tests make and check PNG files with libpng itself (and zlib for checksums).
pkg_check_modules(QUELT_TEST_PNG REQUIRED IMPORTED_TARGET libpng zlib)
target_link_libraries(image_test PRIVATE PkgConfig::QUELT_TEST_PNG)

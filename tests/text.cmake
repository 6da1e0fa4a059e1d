# The text suite renders reference glyphs with FreeType itself.
pkg_check_modules(QUELT_TEST_FT REQUIRED IMPORTED_TARGET freetype2)
target_link_libraries(text_test PRIVATE PkgConfig::QUELT_TEST_FT)

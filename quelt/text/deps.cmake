# Text renders through FreeType, found through pkg-config.
pkg_check_modules(QUELT_FT REQUIRED IMPORTED_TARGET freetype2)
target_link_libraries(quelt PRIVATE PkgConfig::QUELT_FT)

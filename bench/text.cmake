# The text benchmark drives FreeType directly and draws with cairo-ft beside quelt.
pkg_check_modules(QUELT_BENCH_FT REQUIRED IMPORTED_TARGET freetype2)
pkg_check_modules(QUELT_BENCH_CAIRO_FT REQUIRED IMPORTED_TARGET cairo-ft)
target_link_libraries(text_bench PRIVATE PkgConfig::QUELT_BENCH_FT PkgConfig::QUELT_BENCH_CAIRO_FT)

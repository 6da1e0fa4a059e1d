# The image file benchmark runs beside plain libpng calls and libspng.
pkg_check_modules(QUELT_BENCH_PNG REQUIRED IMPORTED_TARGET libpng spng)
target_link_libraries(image_bench PRIVATE PkgConfig::QUELT_BENCH_PNG)

# SDL2 puts the same frame on a window of the same size, in the same run as quelt.
pkg_check_modules(QUELT_BENCH_SDL2 IMPORTED_TARGET sdl2)
if(QUELT_BENCH_SDL2_FOUND)
  target_link_libraries(window_bench PRIVATE PkgConfig::QUELT_BENCH_SDL2)
  target_compile_definitions(window_bench PRIVATE QUELT_BENCH_SDL2)
endif()
# It starts its own X servers: Linux only.
if(WIN32)
  set_target_properties(window_bench PROPERTIES EXCLUDE_FROM_ALL ON)
endif()

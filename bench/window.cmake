# The presenting benchmarks: SDL2 puts the same frame on a window of the same size, in the same
# run as quelt. They start their own X servers or need a compositor: Linux only.
pkg_check_modules(QUELT_BENCH_SDL2 IMPORTED_TARGET sdl2)
foreach(bench window_bench wayland_bench)
  if(QUELT_BENCH_SDL2_FOUND)
    target_link_libraries(${bench} PRIVATE PkgConfig::QUELT_BENCH_SDL2)
    target_compile_definitions(${bench} PRIVATE QUELT_BENCH_SDL2)
  endif()
  if(WIN32)
    set_target_properties(${bench} PROPERTIES EXCLUDE_FROM_ALL ON)
  endif()
endforeach()

# PNG files are read and written through libpng (which brings zlib). The fuzz build may link
# both as built with the fuzzer's instrumentation (scripts/fuzz-deps), kept inside libquelt so
# that FreeType goes on using the system's libpng.
if(QUELT_FUZZ AND QUELT_FUZZ_DEPS)
  target_include_directories(quelt BEFORE PRIVATE ${QUELT_FUZZ_DEPS}/include)
  target_link_libraries(quelt PRIVATE ${QUELT_FUZZ_DEPS}/lib/libpng16.a ${QUELT_FUZZ_DEPS}/lib/libz.a m)
  target_link_options(quelt PRIVATE -Wl,--exclude-libs,libpng16.a:libz.a)
else()
  pkg_check_modules(QUELT_PNG REQUIRED IMPORTED_TARGET libpng)
  target_link_libraries(quelt PRIVATE PkgConfig::QUELT_PNG)
endif()

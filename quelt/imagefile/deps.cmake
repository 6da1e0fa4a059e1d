# PNG files are read and written through libpng (which brings zlib). The fuzz build may name a
# prefix with static libpng and zlib built with the fuzzer's instrumentation (scripts/fuzz-deps):
# they go inside the library, their names kept out of its exports.
set(QUELT_FUZZ_DEPS "" CACHE PATH "Prefix of instrumented static libpng and zlib for the fuzz build")
if(QUELT_FUZZ AND QUELT_FUZZ_DEPS)
  target_include_directories(quelt PRIVATE ${QUELT_FUZZ_DEPS}/include)
  target_link_libraries(quelt PRIVATE ${QUELT_FUZZ_DEPS}/lib/libpng16.a ${QUELT_FUZZ_DEPS}/lib/libz.a)
  target_link_options(quelt PRIVATE -Wl,--exclude-libs,ALL)
else()
  pkg_check_modules(QUELT_PNG REQUIRED IMPORTED_TARGET libpng)
  target_link_libraries(quelt PRIVATE PkgConfig::QUELT_PNG)
endif()

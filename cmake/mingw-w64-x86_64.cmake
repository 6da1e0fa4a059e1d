# Cross build for 64-bit Windows with mingw-w64:
#   cmake -S . -B build/windows -G Ninja --toolchain cmake/mingw-w64-x86_64.cmake
# The -posix compilers (the default thread model has no std::mutex or std::thread), a runtime
# linked statically so that quelt.dll and the test programs need no mingw DLL, and Wine as the
# emulator through which CTest and test discovery run the programs.
#
# Libraries for the target come from the mingw sysroot and from the prefix that
# scripts/windows-deps fills (FreeType, libpng, GoogleTest); QUELT_WINDOWS_DEPS names another.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QUELT_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QUELT_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QUELT_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${QUELT_MINGW_TRIPLE}-windres)

# The toolchain file is read again for every try_compile, where cache variables are not
# visible: the default comes from the file's own place, an override travels in the environment.
if(NOT QUELT_WINDOWS_DEPS)
  if(DEFINED ENV{QUELT_WINDOWS_DEPS})
    set(QUELT_WINDOWS_DEPS $ENV{QUELT_WINDOWS_DEPS})
  else()
    get_filename_component(QUELT_WINDOWS_DEPS "${CMAKE_CURRENT_LIST_DIR}/../build/windows-deps" ABSOLUTE)
  endif()
endif()
set(ENV{QUELT_WINDOWS_DEPS} "${QUELT_WINDOWS_DEPS}")

set(CMAKE_FIND_ROOT_PATH ${QUELT_WINDOWS_DEPS} /usr/${QUELT_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config sees only the target's packages, never the build machine's, and gives the flags
# for static linking (a static FreeType needs libpng and zlib after it).
set(ENV{PKG_CONFIG_LIBDIR} "${QUELT_WINDOWS_DEPS}/lib/pkgconfig:/usr/${QUELT_MINGW_TRIPLE}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(PKG_CONFIG_ARGN --static CACHE STRING "Arguments to supply to pkg-config")

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")

# Wine with quelt's settings (prefix, no debug output, no Mono or Gecko installers).
get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/lib/wine-run" ABSOLUTE)

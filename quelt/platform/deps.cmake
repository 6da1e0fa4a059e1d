# The platform layer: on Windows the real Win32 interface, elsewhere quelt's Win32 core
# (platform/core) over the X11 backend (platform/x11: Xlib, with MIT-SHM from libXext for
# presenting pixels). The display's resolution for text is asked
# through one small file on both.
target_sources(quelt PRIVATE ${CMAKE_CURRENT_LIST_DIR}/resolution.cpp)
if(WIN32)
  target_link_libraries(quelt PRIVATE user32 gdi32)
else()
  pkg_check_modules(QUELT_X11 REQUIRED IMPORTED_TARGET x11 xext)
  target_sources(quelt PRIVATE ${QUELT_X11_SOURCES})
  target_link_libraries(quelt PRIVATE PkgConfig::QUELT_X11)
endif()

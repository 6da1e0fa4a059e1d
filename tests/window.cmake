# The window suite reads back and drives its windows through the system: Xlib and XTest on X11,
# GDI on Windows. Its tests share the screen, the pointer and the keyboard focus: they run one at
# a time.
if(WIN32)
  target_link_libraries(window_test PRIVATE gdi32 user32)
else()
  pkg_check_modules(QUELT_TEST_X11 REQUIRED IMPORTED_TARGET x11 xtst)
  target_link_libraries(window_test PRIVATE PkgConfig::QUELT_TEST_X11)
endif()
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/window_lock.cmake
  "if(window_test_TESTS)\n  set_tests_properties(\${window_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/window_lock.cmake)

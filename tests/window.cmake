# The window tests talk to the X server themselves: Xlib to find and read back windows, XTest
# to type and click.
if(NOT WIN32)
  pkg_check_modules(QUELT_TEST_X11 REQUIRED IMPORTED_TARGET x11 xtst)
  target_link_libraries(window_test PRIVATE PkgConfig::QUELT_TEST_X11)

  # Window tests share the X server's pointer, keyboard focus and screen: they run one at a time.
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/window_lock.cmake
    "if(window_test_TESTS)\n  set_tests_properties(\${window_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/window_lock.cmake)
endif()

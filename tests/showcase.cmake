# The showcase suite runs the built quelt-showcase on the test display and reads its screenshots,
# and those of the Windows build's quelt-showcase.exe under Wine when QUELT_WINDOWS_SHOWCASE names it.
if(QUELT_EXAMPLES AND NOT WIN32)
  pkg_check_modules(QUELT_TEST_SHOWCASE REQUIRED IMPORTED_TARGET x11 xtst)
  target_link_libraries(showcase_test PRIVATE PkgConfig::QUELT_TEST_SHOWCASE)
  target_include_directories(showcase_test PRIVATE ${PROJECT_SOURCE_DIR}/examples/showcase)
  target_compile_definitions(showcase_test PRIVATE QUELT_SHOWCASE="$<TARGET_FILE:quelt-showcase>" QUELT_WINE_RUN="${PROJECT_SOURCE_DIR}/scripts/lib/wine-run")
  add_dependencies(showcase_test quelt-showcase)
  # Its windows take the server's pointer and keyboard, like the window suites.
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/showcase_lock.cmake
    "if(showcase_test_TESTS)\n  set_tests_properties(\${showcase_test_TESTS} PROPERTIES RESOURCE_LOCK \"x_server;wayland\")\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/showcase_lock.cmake)
endif()

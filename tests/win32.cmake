# The Win32 window suite opens windows on the shared display: its tests run one at a time.
if(WIN32)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/win32_lock.cmake
    "if(win32_test_TESTS)\n  set_tests_properties(\${win32_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/win32_lock.cmake)
endif()

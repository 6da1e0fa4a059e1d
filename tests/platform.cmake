# The platform layer is internal to the library: this suite builds its sources in, to call
# the Win32 subset directly.
if(NOT WIN32)
  target_link_libraries(platform_test PRIVATE quelt_platform)
  # It opens windows on the shared X server too.
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/platform_lock.cmake
    "if(platform_test_TESTS)\n  set_tests_properties(\${platform_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/platform_lock.cmake)
endif()

# The platform suite links the library's internal Win32 layer and opens windows on the shared X server.
if(NOT WIN32)
  target_link_libraries(platform_test PRIVATE quelt_platform)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/platform_lock.cmake
    "if(platform_test_TESTS)\n  set_tests_properties(\${platform_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/platform_lock.cmake)
endif()

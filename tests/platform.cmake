# The platform suite links the library's internal Win32 layer and opens windows on the shared X server,
# and its windows once more on a 16-bit server of their own, whose pixels are converted one by one.
if(NOT WIN32)
  target_link_libraries(platform_test PRIVATE quelt_platform)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/platform_lock.cmake
    "if(platform_test_TESTS)\n  set_tests_properties(\${platform_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/platform_lock.cmake)
  add_test(NAME platform_test_at_16_bits COMMAND bash -c [[command -v Xvfb > /dev/null || exit 77; source "$0" && new_xvfb 16 || exit 1
    DISPLAY=$QUELT_NEW_DISPLAY "$1" --gtest_brief=1 --gtest_filter=Windows.*; status=$?; stop_displays; exit $status]]
    ${PROJECT_SOURCE_DIR}/scripts/lib/display.sh $<TARGET_FILE:platform_test>)
  set_tests_properties(platform_test_at_16_bits PROPERTIES SKIP_RETURN_CODE 77)
endif()

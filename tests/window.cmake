# The window suite reads back and drives its windows through the system (Xlib and XTest on X11, GDI
# on Windows). Its tests share the screen, the pointer and the keyboard focus: they run one at a
# time, and so do its runs on the Wayland compositors that the test command starts.
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/window_lock.cmake
  "if(window_test_TESTS)\n  set_tests_properties(\${window_test_TESTS} PROPERTIES RESOURCE_LOCK x_server)\nendif()\n")
set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${CMAKE_CURRENT_BINARY_DIR}/window_lock.cmake)
if(WIN32)
  target_link_libraries(window_test PRIVATE gdi32 user32)
  return()
endif()
pkg_check_modules(QUELT_TEST_X11 REQUIRED IMPORTED_TARGET x11 xtst)
target_link_libraries(window_test PRIVATE PkgConfig::QUELT_TEST_X11)
foreach(run sway sway_own_frames weston kwin)
  add_test(NAME window_test_on_${run} COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/support/on_wayland.sh ${run} $<TARGET_FILE:window_test>)
  set_tests_properties(window_test_on_${run} PROPERTIES SKIP_RETURN_CODE 77 RESOURCE_LOCK wayland TIMEOUT 300)
endforeach()

# On a wlroots compositor the suite's input comes from virtual devices and an input method
# (support/wl_input.cpp), built from wlroots' protocols when their folder is given.
set(QUELT_WLR_PROTOCOLS "" CACHE PATH "Folder of wlroots' protocol XML files, for the suite's Wayland input")
if(QUELT_WLR_PROTOCOLS)
  pkg_check_modules(QUELT_TEST_WAYLAND REQUIRED IMPORTED_TARGET wayland-client xkbcommon)
  pkg_get_variable(scanner wayland-scanner wayland_scanner)
  set(out ${CMAKE_CURRENT_BINARY_DIR}/wlr-protocols)
  file(MAKE_DIRECTORY ${out})
  add_executable(wl_input support/wl_input.cpp)
  foreach(name virtual-keyboard-unstable-v1 wlr-virtual-pointer-unstable-v1 input-method-unstable-v2)
    add_custom_command(OUTPUT ${out}/${name}.h ${out}/${name}.c DEPENDS ${QUELT_WLR_PROTOCOLS}/${name}.xml VERBATIM
      COMMAND ${scanner} client-header ${QUELT_WLR_PROTOCOLS}/${name}.xml ${out}/${name}.h
      COMMAND ${scanner} private-code ${QUELT_WLR_PROTOCOLS}/${name}.xml ${out}/${name}.c)
    target_sources(wl_input PRIVATE ${out}/${name}.h ${out}/${name}.c)
  endforeach()
  target_include_directories(wl_input PRIVATE ${out})
  target_link_libraries(wl_input PRIVATE PkgConfig::QUELT_TEST_WAYLAND)
  add_dependencies(window_test wl_input)
  target_compile_definitions(window_test PRIVATE QUELT_WL_INPUT="$<TARGET_FILE:wl_input>")
endif()

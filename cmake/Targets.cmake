# hoistline_library(name DEPENDS lower... LINK external... SOURCES file...)
# One subsystem. It exports only its own folder as an include folder, so a file that includes
# upward doesn't compile.
function(hoistline_library name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;LINK;SOURCES" ${ARGN})
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    set(scope PUBLIC)
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${name} ${scope} ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(${name} ${scope} ${ARG_DEPENDS} ${ARG_LINK})
endfunction()

# hoistline_test(name LINK target... SOURCES file...): one test program; ctest runs each of its tests as "name.Suite.Test"
# in a process of its own. The tests are listed when ctest starts, so what hasn't been built doesn't stop it.
include(GoogleTest)
function(hoistline_test name)
  cmake_parse_arguments(ARG "" "" "LINK;SOURCES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} own_lock_folder GTest::gtest_main)
  # Test code is compiled once and run once; at -O3 gcc 12 also gives false warnings about moved-from table rows.
  target_compile_options(${name} PRIVATE -O1)
  gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT 900 ENVIRONMENT QT_QPA_PLATFORM=offscreen)
endfunction()

# The target is an access library: bin/NAME.so, which exports what Twl1394api.map of its folder lists, and is installed.
function(hoistline_access_library target name)
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME ${name}
    CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/Twl1394api.map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${CMAKE_CURRENT_SOURCE_DIR}/Twl1394api.map)
  install(TARGETS ${target} LIBRARY DESTINATION ${PROGRAM_FOLDER})
endfunction()

# hoistline_library(name DEPENDS lower... LINK external... SOURCES file...)
# One subsystem: its own folder is the only include folder that it exports, so that a file that
# includes upward doesn't compile.
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

# hoistline_test(name LINK target... SOURCES file...): one test program, run by ctest as one test.
function(hoistline_test name)
  cmake_parse_arguments(ARG "" "" "LINK;SOURCES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gtest_main)
  # Test code is compiled once and run once; at -O3 gcc 12 also warns of moved-from table rows.
  target_compile_options(${name} PRIVATE -O1)
  add_test(NAME ${name} COMMAND ${name})
  # System-wide mutexes are files there: tests that run side by side must not meet in them.
  file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/runtime-${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 900
    ENVIRONMENT "XDG_RUNTIME_DIR=${CMAKE_CURRENT_BINARY_DIR}/runtime-${name};QT_QPA_PLATFORM=offscreen")
endfunction()

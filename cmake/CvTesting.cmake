# Test registration. Native builds run tests directly; the win64 build runs each one under Wine through
# CMAKE_CROSSCOMPILING_EMULATOR; the win32 build compiles them but registers nothing, so it can never
# report a pass for code it did not run.

if(NOT CV_BUILD_TESTS)
  # Every folder registers its tests; without tests those calls stay valid and do nothing.
  function(cv_add_gtest)
  endfunction()
  function(cv_add_script_test)
  endfunction()
  return()
endif()

enable_testing()
include(GoogleTest)

if(CMAKE_CROSSCOMPILING)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  if(NOT TARGET GTest::gtest)
    add_library(GTest::gtest ALIAS gtest)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
else()
  find_package(GTest REQUIRED)
endif()

if(CMAKE_CROSSCOMPILING AND NOT CV_WIN32_ONLY_BUILD)
  set(CV_WINEPREFIX ${CMAKE_BINARY_DIR}/wineprefix CACHE PATH "Wine prefix used by the tests")
  # The prefix goes into the emulator command itself: test discovery ignores the ENVIRONMENT property.
  set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env "WINEPREFIX=${CV_WINEPREFIX}"
      ${CMAKE_SOURCE_DIR}/scripts/wine-run.sh)
endif()

# cv_add_gtest(NAME SOURCES src... LIBS lib... [LABEL label] [TIMEOUT seconds] [LOCK resource] [SERIAL])
# One label per executable (discovered tests cannot carry a list). The linux-tsan preset runs the
# executables labelled "concurrency": put tests of threads and locks into one of those. LOCK: a
# resource that the executable's tests share with the tests of other executables of the same lock (the X
# server's pointer and keyboard, the test sound server's one sink), so that CTest runs none of them at the
# same time. SERIAL: each test runs alone, for tests of real-time streams that a busy machine would
# delay past what they allow (a frame's sound).
function(cv_add_gtest name)
  cmake_parse_arguments(ARG "SERIAL" "TIMEOUT;LABEL;LOCK" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  cv_target_defaults(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest_main)
  if(CV_WIN32_ONLY_BUILD)
    return()
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(lock)
  if(ARG_LOCK)
    set(lock RESOURCE_LOCK ${ARG_LOCK})
  endif()
  if(ARG_SERIAL)
    list(APPEND lock RUN_SERIAL TRUE)
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES LABELS "${ARG_LABEL}" TIMEOUT ${ARG_TIMEOUT} ${lock})
endfunction()

# cv_add_script_test(NAME COMMAND cmd... [LABELS label...]): a host-side check, not run under Wine.
function(cv_add_script_test name)
  cmake_parse_arguments(ARG "" "" "COMMAND;LABELS" ${ARGN})
  if(CV_WIN32_ONLY_BUILD)
    return()
  endif()
  add_test(NAME ${name} COMMAND ${ARG_COMMAND})
  set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
endfunction()

# Fuzz targets (libFuzzer, clang only). The linux-fuzz preset turns CV_BUILD_FUZZERS on and builds the
# whole project with fuzzer instrumentation and the address and undefined-behaviour sanitizers; in any
# other build cv_add_fuzzer does nothing, so a fuzz target costs ordinary builds nothing.

option(CV_BUILD_FUZZERS "Build the libFuzzer targets and register them as bounded CTest runs" OFF)
set(CV_FUZZ_SECONDS 20 CACHE STRING "Default run time of one fuzz test, in seconds")

if(CV_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "CV_BUILD_FUZZERS needs clang (libFuzzer); configure with the linux-fuzz preset")
  endif()
  enable_testing()
endif()

# cv_add_fuzzer(NAME SOURCES src... LIBS lib... [CORPUS dir] [SECONDS n])
# Builds NAME from a file that defines LLVMFuzzerTestOneInput and registers a test (label "fuzz") that
# runs it for SECONDS over a working copy of CORPUS in the build tree. The fuzzer adds what it finds to
# that copy, never to the seeds in the source tree; a crash leaves its input in NAME_run/artifacts/.
function(cv_add_fuzzer name)
  if(NOT CV_BUILD_FUZZERS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "CORPUS;SECONDS" "SOURCES;LIBS" ${ARGN})
  if(NOT ARG_SECONDS)
    set(ARG_SECONDS ${CV_FUZZ_SECONDS})
  endif()
  add_executable(${name} ${ARG_SOURCES})
  cv_target_defaults(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS})
  target_compile_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)
  target_link_options(${name} PRIVATE -fsanitize=fuzzer,address,undefined)

  set(work ${CMAKE_CURRENT_BINARY_DIR}/${name}_run)
  math(EXPR timeout "${ARG_SECONDS} + 120")
  add_test(NAME ${name}
    COMMAND ${CMAKE_COMMAND}
      -DFUZZER=$<TARGET_FILE:${name}>
      -DSEEDS=${ARG_CORPUS}
      -DWORK=${work}
      -DSECONDS=${ARG_SECONDS}
      -P ${CMAKE_SOURCE_DIR}/cmake/CvRunFuzzer.cmake)
  set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT ${timeout})
endfunction()

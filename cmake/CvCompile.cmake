# Compile settings shared by every target of the project.

if(CMAKE_CXX_COMPILER_LAUNCHER STREQUAL "")
  unset(CMAKE_CXX_COMPILER_LAUNCHER)
endif()
find_program(CV_CCACHE ccache)
if(CV_CCACHE AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${CV_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CV_CCACHE})
endif()

set(CV_WINDOWS OFF)
set(CV_WIN32_ONLY_BUILD OFF)
if(WIN32)
  set(CV_WINDOWS ON)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # 32-bit Windows binaries cannot run on this toolchain's Wine: build them, never test them.
    set(CV_WIN32_ONLY_BUILD ON)
  endif()
endif()

# The sanitizer presets pass CV_SANITIZE=address,undefined or thread.
set(CV_SANITIZE "" CACHE STRING "Sanitizers to build with (address,undefined | thread)")

function(cv_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PUBLIC ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
  # No -Wnon-virtual-dtor: COM interfaces have no virtual destructor by design; objects go through Release.
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow)
  if(CV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(CV_WINDOWS)
    target_compile_definitions(${target} PUBLIC UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
    if(CV_WIN32_ONLY_BUILD)
      target_link_options(${target} PRIVATE -Wl,--enable-stdcall-fixup)
    endif()
  endif()
  if(CV_SANITIZE)
    target_compile_options(${target} PUBLIC -fsanitize=${CV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(${target} PUBLIC -fsanitize=${CV_SANITIZE})
  endif()
endfunction()

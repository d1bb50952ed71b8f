# 64-bit Windows with the mingw-w64 cross compilers. The POSIX thread model gives std::thread and
# std::mutex, which GoogleTest needs.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(CV_TRIPLET x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)

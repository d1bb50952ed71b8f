# 32-bit Windows with the mingw-w64 cross compilers (build only: nothing here can run it).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR X86)
set(CV_TRIPLET i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64-common.cmake)

# 32-bit Windows with mingw-w64 (Debian: g++-mingw-w64-i686-posix).
set(CMAKE_SYSTEM_PROCESSOR i686)
set(ECS_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)

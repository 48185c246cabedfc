# Shared part of the mingw-w64 toolchains; the including file sets
# ECS_MINGW_TRIPLE and CMAKE_SYSTEM_PROCESSOR first.
set(CMAKE_SYSTEM_NAME Windows)

# The POSIX-thread variants: std::thread and std::mutex exist with them.
set(CMAKE_C_COMPILER ${ECS_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ECS_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ECS_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${ECS_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# libstdc++, libgcc and winpthread are linked into every binary, so the
# programs run (under wine too) without the compiler's DLLs on the path.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

# There is no system GoogleTest for this target: build it from the sources
# the googletest package installs.
set(ECS_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources built with the library's tests")

# The C runtime's printf family with C99 conversions (%zu, %lld, %ls), as on
# every other target.
set(CMAKE_C_FLAGS_INIT "-D__USE_MINGW_ANSI_STDIO=1")
set(CMAKE_CXX_FLAGS_INIT "-D__USE_MINGW_ANSI_STDIO=1")

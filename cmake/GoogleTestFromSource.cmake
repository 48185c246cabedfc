# GoogleTest and GoogleMock compiled from the system's sources with the
# current compiler and flags, for targets that have no prebuilt package (a
# 32-bit build, a cross compiler). Defines the same targets as find_package(GTest):
# GTest::gtest, GTest::gtest_main, GTest::gmock, GTest::gmock_main.
# ECS_GTEST_SOURCE_DIR names another source tree; no network is used.
set(ECS_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources built when ECS_GTEST_FROM_SOURCE is on")
if(NOT EXISTS ${ECS_GTEST_SOURCE_DIR}/CMakeLists.txt)
    message(FATAL_ERROR "No GoogleTest sources in ${ECS_GTEST_SOURCE_DIR} (Debian: googletest)")
endif()
# A function keeps GoogleTest's settings out of the caller's scope.
function(ecs_add_googletest)
    # Static libraries inside this build: nothing to install, no DLL to find at run time.
    set(BUILD_SHARED_LIBS OFF)
    set(INSTALL_GTEST OFF)
    set(BUILD_GMOCK ON)
    add_subdirectory(${ECS_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
endfunction()
if(NOT TARGET gtest)
    ecs_add_googletest()
endif()
foreach(lib gtest gtest_main gmock gmock_main)
    if(NOT TARGET GTest::${lib})
        add_library(GTest::${lib} ALIAS ${lib})
    endif()
endforeach()
set(GTest_FOUND TRUE)

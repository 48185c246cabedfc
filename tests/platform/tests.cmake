list(APPEND ECS_TESTS
    platform/CPlatformFactoryTest.cpp
    platform/CSyncObjectTest.cpp
    platform/CWaitObjectTest.cpp
    platform/CThreadTest.cpp
    platform/CImpLibraryLoaderTest.cpp
    platform/NamedObjectTest.cpp
    platform/CImpFolderTest.cpp
    platform/CImpFileTest.cpp
    platform/CImpPathTest.cpp
    platform/CImpSystemTest.cpp
    platform/ClipboardTest.cpp
    platform/Utf8TextTest.cpp
)

# Helpers for the platform tests: a second process that opens named objects
# (the named mutex is internal to the library, so its layer is compiled in);
# the modules and the child process are shared with other families.
set(ECS_NAMED_SOURCES ${PROJECT_SOURCE_DIR}/src/platform/posix/NamedObject.cpp)
add_executable(ecs_test_wait_helper ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp ${ECS_NAMED_SOURCES})
target_link_libraries(ecs_test_wait_helper PRIVATE EngineCoreSystem)
target_include_directories(ecs_test_wait_helper PRIVATE ${PROJECT_SOURCE_DIR}/src)
# The same helper in 32 bits, built with the bare compiler (no sanitizer
# flags, which have no 32-bit runtime everywhere) when it can target -m32.
set(ECS_HELPER32 ${CMAKE_CURRENT_BINARY_DIR}/ecs_test_wait_helper32)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/m32probe.cpp "#include <atomic>\nint main() { return 0; }\n")
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -m32 m32probe.cpp -o m32probe
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} RESULT_VARIABLE ECS_M32_RESULT OUTPUT_QUIET ERROR_QUIET)
if(ECS_M32_RESULT EQUAL 0)
    add_custom_command(OUTPUT ${ECS_HELPER32}
        COMMAND ${CMAKE_CXX_COMPILER} -m32 -std=c++17 -O2 -Wall -Wextra -D_FILE_OFFSET_BITS=64 -DECS_HELPER_BARE
            -I${PROJECT_SOURCE_DIR}/include -I${PROJECT_SOURCE_DIR}/src
            ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp ${ECS_NAMED_SOURCES} -o ${ECS_HELPER32}
        DEPENDS ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp ${ECS_NAMED_SOURCES}
            ${PROJECT_SOURCE_DIR}/src/platform/posix/NamedObject.h
        COMMENT "Building the 32-bit named-object helper" VERBATIM)
    add_custom_target(ecs_build_wait_helper32 DEPENDS ${ECS_HELPER32})
    cmake_language(DEFER CALL add_dependencies tests_platform ecs_build_wait_helper32)
    cmake_language(DEFER CALL target_compile_definitions tests_platform PRIVATE
        "ECS_TEST_WAIT_HELPER32=\"${ECS_HELPER32}\"")
else()
    message(STATUS "No -m32 compiler (g++-multilib): the 32/64-bit named-object test will skip")
endif()
include(${CMAKE_CURRENT_LIST_DIR}/../support/helpers.cmake)
ecs_use_test_helpers(tests_platform)

# The test program is created after this list is read, so its settings wait
# until the end of the directory. It compiles the named-object layer and the
# strict UTF-8 codec itself to reach them, as the library keeps them internal.
cmake_language(DEFER CALL target_sources tests_platform PRIVATE ${ECS_NAMED_SOURCES}
    ${PROJECT_SOURCE_DIR}/src/platform/posix/Utf8Text.cpp)
cmake_language(DEFER CALL target_compile_definitions tests_platform PRIVATE
    "ECS_TEST_WAIT_HELPER=\"$<TARGET_FILE:ecs_test_wait_helper>\"")
cmake_language(DEFER CALL add_dependencies tests_platform ecs_test_wait_helper)

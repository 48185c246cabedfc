# The Windows process, pipe, clipboard and MP3 services.
if(WIN32)
    list(APPEND ECS_TESTS platform/CImpSystemWin32Test.cpp)
endif()
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

if(WIN32)
    list(APPEND ECS_TESTS platform/Win32LayerTest.cpp)
endif()

# The named-object layer and the UTF-8 codec below are POSIX internals.
if(NOT WIN32)
    # Helpers for the platform tests: a second process that opens named objects
    # (the named mutex is internal to the library, so its layer is compiled in);
    # the modules and the child process are shared with other families.
    set(ECS_NAMED_SOURCES ${PROJECT_SOURCE_DIR}/src/platform/posix/NamedObject.cpp)
    add_executable(ecs_test_wait_helper ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp ${ECS_NAMED_SOURCES})
    target_link_libraries(ecs_test_wait_helper PRIVATE EngineCoreSystem)
    target_include_directories(ecs_test_wait_helper PRIVATE ${PROJECT_SOURCE_DIR}/src)
    # The same helper in the other word size (32 bits beside a 64-bit build, 64
    # beside a 32-bit one), built with the bare compiler (no sanitizer flags,
    # which have no 32-bit runtime everywhere) when it can target that size.
    if(CMAKE_SIZEOF_VOID_P EQUAL 4)
        set(ECS_OTHER_WORD_SIZE 64)
    else()
        set(ECS_OTHER_WORD_SIZE 32)
    endif()
    set(ECS_HELPER_OTHER ${CMAKE_CURRENT_BINARY_DIR}/ecs_test_wait_helper${ECS_OTHER_WORD_SIZE})
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/wordsizeprobe.cpp "#include <atomic>\nint main() { return 0; }\n")
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -m${ECS_OTHER_WORD_SIZE} wordsizeprobe.cpp -o wordsizeprobe
        WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} RESULT_VARIABLE ECS_OTHER_RESULT OUTPUT_QUIET ERROR_QUIET)
    if(ECS_OTHER_RESULT EQUAL 0)
        add_custom_command(OUTPUT ${ECS_HELPER_OTHER}
            COMMAND ${CMAKE_CXX_COMPILER} -m${ECS_OTHER_WORD_SIZE} -std=c++17 -O2 -Wall -Wextra -D_FILE_OFFSET_BITS=64
                -DECS_HELPER_BARE -I${PROJECT_SOURCE_DIR}/include -I${PROJECT_SOURCE_DIR}/src
                ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp ${ECS_NAMED_SOURCES} -o ${ECS_HELPER_OTHER}
            DEPENDS ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp ${ECS_NAMED_SOURCES}
                ${PROJECT_SOURCE_DIR}/src/platform/posix/NamedObject.h
            COMMENT "Building the ${ECS_OTHER_WORD_SIZE}-bit named-object helper" VERBATIM)
        add_custom_target(ecs_build_wait_helper_other DEPENDS ${ECS_HELPER_OTHER})
        cmake_language(DEFER CALL add_dependencies tests_platform ecs_build_wait_helper_other)
        cmake_language(DEFER CALL target_compile_definitions tests_platform PRIVATE
            "ECS_TEST_WAIT_HELPER_OTHER=\"${ECS_HELPER_OTHER}\"")
    else()
        message(STATUS "No -m${ECS_OTHER_WORD_SIZE} compiler (g++-multilib): the 32/64-bit named-object test will skip")
    endif()
endif()
include(${CMAKE_CURRENT_LIST_DIR}/../support/helpers.cmake)
ecs_use_test_helpers(tests_platform)

if(NOT WIN32)
    # The test program is created after this list is read, so its settings wait
    # until the end of the directory. It compiles the named-object layer and the
    # strict UTF-8 codec itself to reach them, as the library keeps them internal.
    cmake_language(DEFER CALL target_sources tests_platform PRIVATE ${ECS_NAMED_SOURCES}
        ${PROJECT_SOURCE_DIR}/src/platform/posix/Utf8Text.cpp)
    cmake_language(DEFER CALL target_compile_definitions tests_platform PRIVATE
        "ECS_TEST_WAIT_HELPER=\"$<TARGET_FILE:ecs_test_wait_helper>\"")
    cmake_language(DEFER CALL add_dependencies tests_platform ecs_test_wait_helper)
endif()

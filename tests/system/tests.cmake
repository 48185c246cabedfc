list(APPEND ECS_TESTS
    system/CTimeTest.cpp
    system/CPathTest.cpp
    system/CFileTest.cpp
    system/CFolderTest.cpp
    system/CLibraryLoaderTest.cpp
    system/CSystemTest.cpp
)
include(${CMAKE_CURRENT_LIST_DIR}/../support/helpers.cmake)
ecs_use_test_helpers(tests_system)
include(${CMAKE_CURRENT_LIST_DIR}/log.cmake OPTIONAL)

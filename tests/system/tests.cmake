list(APPEND ECS_TESTS
    system/CTimeTest.cpp
    system/CTimeSpanTest.cpp
    system/CPathTest.cpp
    system/CFileTest.cpp
    system/CFolderTest.cpp
)
include(${CMAKE_CURRENT_LIST_DIR}/log.cmake OPTIONAL)

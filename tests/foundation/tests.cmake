list(APPEND ECS_TESTS
    foundation/CObjectTest.cpp
)
include(${CMAKE_CURRENT_LIST_DIR}/containers.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/memory.cmake)

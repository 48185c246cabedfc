list(APPEND ECS_TESTS text/CCacheObjectTest.cpp)
include(${CMAKE_CURRENT_LIST_DIR}/string.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/converter.cmake)

include(${CMAKE_CURRENT_LIST_DIR}/string.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/converter.cmake)

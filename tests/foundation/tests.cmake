list(APPEND ECS_TESTS
    foundation/CObjectTest.cpp
    foundation/CByteBufferTest.cpp
    foundation/CVariantTest.cpp
)
# Their failed-allocation cases need the memory test hooks.
if(ECS_MEMORY_TESTING)
    set_property(SOURCE foundation/CByteBufferTest.cpp foundation/CVariantTest.cpp
        APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
endif()
include(${CMAKE_CURRENT_LIST_DIR}/containers.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/memory.cmake)

# Memory manager tests. Most of them inject failures or look into the thread
# caches, which only a library built with ECS_MEMORY_TESTING offers.
if(ECS_MEMORY_TESTING)
    set(ECS_MEMORY_TESTS
        foundation/CMemAllocatorTest.cpp
        foundation/CMemManagerTest.cpp
        foundation/CMemCheckerTest.cpp
        foundation/CMemThreadCacheTest.cpp
        foundation/CAllocFailureSweepTest.cpp
    )
    list(APPEND ECS_TESTS ${ECS_MEMORY_TESTS})
    set_property(SOURCE ${ECS_MEMORY_TESTS} APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
else()
    message(STATUS "ECS_MEMORY_TESTING is off: the memory manager's tests are not built")
endif()

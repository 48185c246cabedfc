# Memory manager tests.
list(APPEND ECS_TESTS
    foundation/CMemAllocatorTest.cpp
    foundation/CMemManagerTest.cpp
    foundation/CMemCheckerTest.cpp
    foundation/CMemThreadCacheTest.cpp
)

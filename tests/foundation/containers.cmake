# Container tests.
list(APPEND ECS_TESTS
    foundation/CDataArrayTest.cpp
    foundation/CDataListTest.cpp
    foundation/CDataMapTest.cpp
)

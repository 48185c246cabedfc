# Container and object-factory tests.
list(APPEND ECS_TESTS
    foundation/CDataArrayTest.cpp
    foundation/CDataListTest.cpp
    foundation/CDataMapTest.cpp
    foundation/CObjectFactoryTest.cpp
)

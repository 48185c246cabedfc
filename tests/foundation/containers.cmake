# Container tests.
list(APPEND ECS_TESTS foundation/ContainersTest.cpp)

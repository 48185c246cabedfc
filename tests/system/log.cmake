list(APPEND ECS_TESTS system/CLogTest.cpp)

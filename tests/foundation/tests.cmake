list(APPEND ECS_TESTS
    foundation/CObjectTest.cpp
)

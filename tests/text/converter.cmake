# CStringConverter tests.
list(APPEND ECS_TESTS
    text/CStringConverterTest.cpp
)

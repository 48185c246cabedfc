# CStringConverter tests.
list(APPEND ECS_TESTS
    text/CStringConverterTest.cpp
    text/CStringConverterEncodingTest.cpp
    text/CStringConverterFormatTest.cpp
)

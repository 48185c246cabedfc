# CStringCore and CString tests.
list(APPEND ECS_TESTS
    text/CStringCoreTest.cpp
    text/CStringTest.cpp
)

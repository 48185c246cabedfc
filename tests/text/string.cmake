# CStringCore, CString and CObjectFactory tests.
list(APPEND ECS_TESTS
    text/CStringCoreTest.cpp
    text/CStringTest.cpp
    text/CObjectFactoryTest.cpp
)

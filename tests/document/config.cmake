list(APPEND ECS_TESTS document/CConfigParserTest.cpp)

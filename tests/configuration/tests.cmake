list(APPEND ECS_TESTS configuration/CConfigParserTest.cpp)

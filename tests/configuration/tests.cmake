list(APPEND ECS_TESTS configuration/CConfigParserTest.cpp)
include(${CMAKE_CURRENT_LIST_DIR}/../support/helpers.cmake)
ecs_use_test_helpers(tests_configuration)

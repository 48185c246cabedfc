list(APPEND ECS_TESTS
    platform/CPlatformFactoryTest.cpp
    platform/CSyncObjectTest.cpp
    platform/CWaitObjectTest.cpp
    platform/CThreadTest.cpp
    platform/CImpLibraryLoaderTest.cpp
)

# Helpers for the platform tests: a second process that opens named events,
# and two loadable modules, one exporting "getInstance" and one without it.
add_executable(ecs_test_wait_helper ${CMAKE_CURRENT_LIST_DIR}/WaitObjectHelper.cpp)
target_link_libraries(ecs_test_wait_helper PRIVATE EngineCoreSystem)
set_target_properties(ecs_test_wait_helper PROPERTIES CXX_STANDARD 20)
add_library(ecs_test_module MODULE ${CMAKE_CURRENT_LIST_DIR}/TestModule.cpp)
add_library(ecs_test_module_noentry MODULE ${CMAKE_CURRENT_LIST_DIR}/TestModuleNoEntry.cpp)
set_target_properties(ecs_test_module ecs_test_module_noentry PROPERTIES
    CXX_VISIBILITY_PRESET default PREFIX "")

# The test program is created after this list is read, so its settings wait
# until the end of the directory.
cmake_language(DEFER CALL target_compile_definitions tests_platform PRIVATE
    "ECS_TEST_WAIT_HELPER=\"$<TARGET_FILE:ecs_test_wait_helper>\""
    "ECS_TEST_MODULE=\"$<TARGET_FILE:ecs_test_module>\""
    "ECS_TEST_MODULE_NOENTRY=\"$<TARGET_FILE:ecs_test_module_noentry>\"")
cmake_language(DEFER CALL add_dependencies tests_platform
    ecs_test_wait_helper ecs_test_module ecs_test_module_noentry)

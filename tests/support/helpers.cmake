# Programs and modules that tests of several families start or load: two
# loadable modules ("getInstance" present and absent) and a child process for
# the process tests (ChildHelper.cpp).
# ecs_use_test_helpers(<test program>) hands their paths to a test program.
if(NOT TARGET ecs_test_child)
    add_library(ecs_test_module MODULE ${CMAKE_CURRENT_LIST_DIR}/TestModule.cpp)
    add_library(ecs_test_module_noentry MODULE ${CMAKE_CURRENT_LIST_DIR}/TestModuleNoEntry.cpp)
    set_target_properties(ecs_test_module ecs_test_module_noentry PROPERTIES
        CXX_VISIBILITY_PRESET default PREFIX "")
    add_executable(ecs_test_child ${CMAKE_CURRENT_LIST_DIR}/ChildHelper.cpp)

    # Deferred: the test program is created after its family's list is read
    # (a macro, so that the target name is in place when the call runs).
    macro(ecs_use_test_helpers target)
        cmake_language(DEFER CALL target_compile_definitions ${target} PRIVATE
            "ECS_TEST_MODULE=\"$<TARGET_FILE:ecs_test_module>\""
            "ECS_TEST_MODULE_NOENTRY=\"$<TARGET_FILE:ecs_test_module_noentry>\""
            "ECS_TEST_CHILD=\"$<TARGET_FILE:ecs_test_child>\"")
        cmake_language(DEFER CALL add_dependencies ${target}
            ecs_test_module ecs_test_module_noentry ecs_test_child)
    endmacro()
endif()

list(APPEND ECS_TESTS
    input/CCursorManagerTest.cpp
    input/CSurfaceTest.cpp
)
# The refused-allocation test needs the memory manager's test hooks.
if(ECS_MEMORY_TESTING)
    set_property(SOURCE input/CCursorManagerTest.cpp APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
endif()

# The platform surfaces come from the headless implementation a host would
# supply. The test program is created after this list is read.
cmake_language(DEFER CALL target_link_libraries tests_input PRIVATE ecs_headless_surface)

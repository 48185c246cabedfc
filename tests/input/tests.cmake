list(APPEND ECS_TESTS
    input/CCursorManagerTest.cpp
    input/CTouchRepeatTest.cpp
    input/CSurfaceTest.cpp
)

# The platform surfaces come from the headless implementation a host would
# supply. The test program is created after this list is read.
cmake_language(DEFER CALL target_link_libraries tests_input PRIVATE ecs_headless_surface)

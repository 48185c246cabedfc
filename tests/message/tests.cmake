list(APPEND ECS_TESTS
    message/CMessageCenterTest.cpp
    message/CEventDispatcherTest.cpp
)
# The kept-node count needs the memory manager's test hooks.
if(ECS_MEMORY_TESTING)
    set_property(SOURCE message/CMessageCenterTest.cpp APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
endif()

list(APPEND ECS_TESTS
    message/CBaseMessageTest.cpp
    message/CMessageCenterTest.cpp
    message/CMessageCenterFastPathTest.cpp
    message/CEventDispatcherTest.cpp
)
if(ECS_MEMORY_TESTING)
    set_property(SOURCE message/CMessageCenterFastPathTest.cpp APPEND PROPERTY COMPILE_DEFINITIONS ECS_MEMORY_TESTING=1)
endif()

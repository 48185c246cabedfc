list(APPEND ECS_TESTS
    message/CBaseMessageTest.cpp
    message/CMessageCenterTest.cpp
    message/CEventDispatcherTest.cpp
)

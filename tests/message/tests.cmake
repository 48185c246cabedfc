list(APPEND ECS_TESTS
    message/CBaseMessageTest.cpp
    message/CMessageCenterTest.cpp
    message/CMessageCenterSchedulingTest.cpp
    message/CEventDispatcherTest.cpp
)

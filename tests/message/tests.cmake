list(APPEND ECS_TESTS
    message/MessageTestSupport.cpp
    message/CBaseMessageTest.cpp
    message/CMessageCenterTest.cpp
    message/CMessageCenterSchedulingTest.cpp
    message/CEventDispatcherTest.cpp
)

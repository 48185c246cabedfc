list(APPEND ECS_TESTS
    message/CMessageCenterTest.cpp
    message/CEventDispatcherTest.cpp
)

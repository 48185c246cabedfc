list(APPEND ECS_TESTS
    timer/CTimerTest.cpp
    timer/CMsgTimerTest.cpp
    timer/CTimerManagerTest.cpp
)

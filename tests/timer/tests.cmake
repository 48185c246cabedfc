list(APPEND ECS_TESTS
    timer/CTimerTest.cpp
    timer/CTimerManagerTest.cpp
)

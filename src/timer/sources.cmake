list(APPEND ECS_HEADERS
    include/timer/Timer.h
    include/timer/CTimer.h
    include/timer/CMsgTimer.h
    include/timer/CTimerManager.h)
list(APPEND ECS_SOURCES
    src/timer/CTimer.cpp
    src/timer/CMsgTimer.cpp
    src/timer/CTimerManager.cpp)

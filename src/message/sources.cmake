list(APPEND ECS_HEADERS
    include/message/Message.h
    include/message/CBaseMessage.h
    include/message/CMessages.h
    include/message/CHardkeyTable.h
    include/message/IMessageCenterListener.h
    include/message/IMsgSystemListener.h
    include/message/IMsgUserListener.h
    include/message/CMessageCenter.h
    include/message/CMessageCenterProxy.h
    include/message/IEventListener.h
    include/message/CEventDispatcher.h
    include/message/IIdleListener.h
    include/message/CIdleCenter.h
    include/message/CIdleCenterProxy.h)
list(APPEND ECS_SOURCES
    src/message/CBaseMessage.cpp
    src/message/CMessages.cpp
    src/message/CHardkeyTable.cpp
    src/message/CMessageCenter.cpp
    src/message/CMessageCenterProxy.cpp
    src/message/TickClock.h
    src/message/TickClock.cpp
    src/message/TouchRoute.h
    src/message/MessageLog.h
    src/message/MessageLog.cpp
    src/message/CEventDispatcher.cpp
    src/message/CIdleCenter.cpp)

list(APPEND ECS_HEADERS
    include/ipc/Ipc.h
    include/ipc/IShareMemoryListener.h
    include/ipc/CShareMemory.h
    include/ipc/CShareMemoryProxy.h
    include/ipc/CMsgShareMemory.h)
list(APPEND ECS_SOURCES
    src/ipc/CShareMemory.cpp
    src/ipc/CShareMemoryProxy.cpp
    src/ipc/CMsgShareMemory.cpp)

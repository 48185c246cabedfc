list(APPEND ECS_HEADERS
    include/ipc/Ipc.h
    include/ipc/ISocketClientListener.h
    include/ipc/ISocketServerListener.h
    include/ipc/CSocketClient.h
    include/ipc/CSocketServer.h)
list(APPEND ECS_SOURCES
    src/ipc/CSocketClient.cpp
    src/ipc/CSocketServer.cpp)

list(APPEND ECS_HEADERS
    include/ipc/Ipc.h
    include/ipc/IShareMemoryListener.h
    include/ipc/CShareMemory.h
    include/ipc/CShareMemoryProxy.h
    include/ipc/CMsgShareMemory.h
    include/ipc/ISocketClientListener.h
    include/ipc/ISocketServerListener.h
    include/ipc/CSocketClient.h
    include/ipc/CSocketServer.h
    include/ipc/IDataTransferListener.h
    include/ipc/CMsgDataTransfer.h
    include/ipc/CDataTransfer.h
    include/ipc/CDataTransferProxy.h)
list(APPEND ECS_SOURCES
    src/ipc/CShareMemory.cpp
    src/ipc/CShareMemoryProxy.cpp
    src/ipc/CMsgShareMemory.cpp
    src/ipc/CSocketClient.cpp
    src/ipc/CSocketServer.cpp
    src/ipc/IDataTransferListener.cpp
    src/ipc/CMsgDataTransfer.cpp
    src/ipc/CDataTransfer.cpp
    src/ipc/CDataTransferProxy.cpp)

list(APPEND ECS_TESTS
    ipc/SocketTestSupport.h
    ipc/CSocketServerTest.cpp
    ipc/CSocketClientTest.cpp
    ipc/DataTransferTestSupport.h
    ipc/CDataTransferTest.cpp
    ipc/CDataTransferBadInputTest.cpp
)

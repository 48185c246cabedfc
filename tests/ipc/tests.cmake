list(APPEND ECS_TESTS
    ipc/SocketTestSupport.h
    ipc/CSocketServerTest.cpp
    ipc/CSocketClientTest.cpp
    ipc/DataTransferTestSupport.h
    ipc/CDataTransferTest.cpp
    ipc/CDataTransferBadInputTest.cpp
)

# The Wireshark dissector on traffic of the remote tool, captured by tshark.
add_test(NAME ipc_dissector
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/dissector_test.sh $<TARGET_FILE:ecs-remote>
            ${PROJECT_SOURCE_DIR}/tools/dissector/ecs-data-transfer.lua)
set_tests_properties(ipc_dissector PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 60)

# The Windows sides of the channels (Winsock, kernel objects).
if(WIN32)
    list(APPEND ECS_TESTS ipc/ChannelsWin32Test.cpp)
endif()
list(APPEND ECS_TESTS
    ipc/CShareMemoryTest.cpp
    ipc/SocketTestSupport.h
    ipc/CSocketServerTest.cpp
    ipc/CSocketClientTest.cpp
    ipc/CDataTransferTest.cpp
)

if(NOT WIN32)
    # The second process of the shared-memory tests.
    add_executable(ecs_test_shm_helper ${CMAKE_CURRENT_LIST_DIR}/ShareMemoryHelper.cpp)
    target_link_libraries(ecs_test_shm_helper PRIVATE EngineCoreSystem)
    set_target_properties(ecs_test_shm_helper PROPERTIES CXX_STANDARD 20)
    target_compile_options(ecs_test_shm_helper PRIVATE -Wall -Wextra)
    # The test program is created after this list is read.
    cmake_language(DEFER CALL target_compile_definitions tests_ipc PRIVATE
        "ECS_TEST_SHM_HELPER=\"$<TARGET_FILE:ecs_test_shm_helper>\"")
    cmake_language(DEFER CALL add_dependencies tests_ipc ecs_test_shm_helper)
endif()
# The Wireshark dissector on traffic of the remote tool, captured by tshark.
if(TARGET ecs-remote)
    add_test(NAME ipc_dissector
        COMMAND ${CMAKE_CURRENT_LIST_DIR}/dissector_test.sh $<TARGET_FILE:ecs-remote>
                ${PROJECT_SOURCE_DIR}/tools/dissector/ecs-data-transfer.lua)
    set_tests_properties(ipc_dissector PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 60)
endif()

# End-to-end tests of ecs-host: real processes (the host, the remote tool, a
# shared-memory writer, Xvfb with xdotool). Cases that cannot run on this
# machine exit 77 and are reported as skipped; the window case leaves its
# screenshot in artefacts/.
find_package(Python3 COMPONENTS Interpreter)
if(Python3_Interpreter_FOUND)
    set(ECS_HOST_TEST_ARGS
        --host $<TARGET_FILE:ecs-host>
        --config ${PROJECT_SOURCE_DIR}/examples/engine-config.xml
        --quit-xml ${PROJECT_SOURCE_DIR}/examples/quit.xml
        --artefacts ${CMAKE_BINARY_DIR}/artefacts)
    if(TARGET ecs-remote)
        list(APPEND ECS_HOST_TEST_ARGS --remote $<TARGET_FILE:ecs-remote>)
    endif()
    if(TARGET ecs_test_shm_helper)
        list(APPEND ECS_HOST_TEST_ARGS --shm-helper $<TARGET_FILE:ecs_test_shm_helper>)
    endif()
    # The built-in audio player runs GStreamer, which the thread sanitizer
    # cannot see into.
    if(CMAKE_CXX_FLAGS MATCHES "sanitize=thread")
        list(APPEND ECS_HOST_TEST_ARGS --thread-sanitizer)
    endif()
    if(NOT ECS_AUDIO_GSTREAMER)
        list(APPEND ECS_HOST_TEST_ARGS --no-gstreamer)
    endif()
    if(ECS_MEMORY_CHECKING)
        list(APPEND ECS_HOST_TEST_ARGS --checking)
    endif()
    foreach(case IN ITEMS startup usage sigterm remote shm audio window)
        add_test(NAME host_${case}
            COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/host/host_e2e.py ${case} ${ECS_HOST_TEST_ARGS})
        set_tests_properties(host_${case} PROPERTIES SKIP_RETURN_CODE 77 TIMEOUT 180)
    endforeach()
endif()

list(APPEND ECS_TESTS
    audio/CPlayerMP3Test.cpp
    audio/CAudioPlayerTest.cpp
    audio/CSoundPlayerTest.cpp
)

# Without GStreamer the built-in player's tests skip and say why, and one
# case checks that it loads nothing.
if(NOT ECS_AUDIO_GSTREAMER AND NOT WIN32)
    cmake_language(DEFER CALL target_compile_definitions tests_audio PRIVATE ECS_TEST_NO_GSTREAMER)
endif()

list(APPEND ECS_TESTS
    audio/AudioTestSupport.cpp
    audio/CPlayerMP3Test.cpp
    audio/CAudioPlayerTest.cpp
    audio/CAudioPlayerMP3Test.cpp
    audio/CSoundPlayerTest.cpp
)

# Without GStreamer the built-in player's tests skip and say why.
if(NOT ECS_AUDIO_GSTREAMER AND NOT WIN32)
    list(APPEND ECS_TESTS audio/CPlayerMP3UnavailableTest.cpp)
    cmake_language(DEFER CALL target_compile_definitions tests_audio PRIVATE ECS_TEST_NO_GSTREAMER)
endif()

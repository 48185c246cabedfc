list(APPEND ECS_TESTS
    audio/AudioTestSupport.cpp
    audio/CPlayerMP3Test.cpp
    audio/CAudioPlayerTest.cpp
    audio/CAudioPlayerMP3Test.cpp
    audio/CSoundPlayerTest.cpp
)

# The tests make their media with GStreamer's encoders at run time.
cmake_language(DEFER CALL target_link_libraries tests_audio PRIVATE PkgConfig::ECS_GSTREAMER)

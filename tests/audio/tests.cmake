list(APPEND ECS_TESTS
    audio/AudioTestSupport.cpp
    audio/CPlayerMP3Test.cpp
    audio/CAudioPlayerTest.cpp
    audio/CAudioPlayerMP3Test.cpp
    audio/CSoundPlayerTest.cpp
)

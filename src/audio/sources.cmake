list(APPEND ECS_HEADERS
    include/audio/Audio.h
    include/audio/IAudioPlayerListener.h
    include/audio/IAudioPlayerProvider.h
    include/audio/CPlayerMP3.h
    include/audio/CAudioPlayer.h
    include/audio/CAudioPlayerProxy.h
    include/audio/ISoundPlayerProvider.h
    include/audio/CSoundPlayer.h
    include/audio/CSoundPlayerProxy.h
    include/audio/IBootAnimationProvider.h
    include/audio/IBootAnimationNotifier.h)
list(APPEND ECS_SOURCES
    src/audio/AudioInterfaces.cpp
    src/audio/CPlayerMP3.cpp
    src/audio/CAudioPlayer.cpp
    src/audio/CAudioPlayerProxy.cpp
    src/audio/CSoundPlayer.cpp
    src/audio/CSoundPlayerProxy.cpp)

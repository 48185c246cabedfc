#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

class IAudioPlayerListener;
class IAudioPlayerProvider;

// Static access to the audio player singleton.
class ECS_API CAudioPlayerProxy
{
    TRELL_DECLARE_ALLOCATOR(u"CAudioPlayerProxy")

public:
    static void setProvider(IAudioPlayerProvider* pProvider);
    static void setListener(IAudioPlayerListener* pListener);
    static void playAudio(const CString& strPath);
    static void addAudio(const CString& strPath);
    static void clearAllAudios();
    static void play();
    static void stop();
    static void pause();
    static void resume();
    static void next();
    static void previous();
    static void seekToTime(unsigned int uiSeconds);
    static CString getCurrentAudio();
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Platform MP3 playback behind the built-in audio player. Times are seconds.
class ECS_API IPlayerMP3
{
    TRELL_DECLARE_ALLOCATOR(u"IPlayerMP3")

public:
    virtual ~IPlayerMP3() {}

    virtual bool load(const CString& strPath) = 0;
    virtual void close() = 0;
    virtual bool isLoaded() = 0;
    virtual bool play() = 0;
    virtual void stop() = 0;
    virtual void pause() = 0;
    virtual void resume() = 0;
    virtual void seekToTime(unsigned int uiSeconds) = 0;
    virtual unsigned int getTotalTime() = 0;
    virtual unsigned int getCurrentTime() = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// A host's own playback, used by the audio player instead of its built-in
// MP3 player. Called on the player's worker thread only. Times are seconds.
// The player does not own its provider and never deletes it (the interface
// has no destructor of its own).
class ECS_API IAudioPlayerProvider
{
    TRELL_DECLARE_ALLOCATOR(u"IAudioPlayerProvider")

public:
    // Called once when the player's worker ends.
    virtual void release() = 0;
    // For the host; the player never calls it.
    virtual void initialize() = 0;
    virtual void play(const CString& strPath) = 0;
    virtual void stop() = 0;
    virtual void pause() = 0;
    virtual void resume() = 0;
    virtual void seekToTime(unsigned int uiSeconds) = 0;
    virtual unsigned int getCurrentTime() = 0;
    virtual unsigned int getTotalTime() = 0;
};

} // namespace Trell

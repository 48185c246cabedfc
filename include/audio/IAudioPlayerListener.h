#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// What the audio player reports, called on the player's worker thread. Every
// callback does nothing by default, so a listener overrides what it needs.
// The player does not own its listener.
class ECS_API IAudioPlayerListener
{
    TRELL_DECLARE_ALLOCATOR(u"IAudioPlayerListener")

public:
    enum EPlayStatus
    {
        PLAY_STATUS_PLAYING = 0,
        PLAY_STATUS_PAUSED = 1,
        PLAY_STATUS_STOPPED = 2
    };

    virtual ~IAudioPlayerListener();
    // Another playlist entry became the current one.
    virtual void onNowPlayingAudioChange(const CString& strPath);
    // Progress, in seconds.
    virtual void onNowPlayingTimeChange(unsigned int uiCurrent, unsigned int uiTotal);
    virtual void onPlayStatusChange(IAudioPlayerListener::EPlayStatus eStatus);
};

} // namespace Trell

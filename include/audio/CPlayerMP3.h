#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

class CString;
class IPlayerMP3;

// The built-in MP3 player of the audio and sound players: a front over the
// platform's IPlayerMP3 (CImpPlayerMP3), which it creates and owns. Times are
// whole seconds. Used by one thread at a time. Without a platform object
// (allocation failed) every operation does nothing and reports false or 0.
//
// On POSIX systems it plays through GStreamer to the sink described by the
// ECS_AUDIO_SINK environment variable (an element description such as
// "fakesink sync=true", which plays in real time without a sound card), or
// to the system's default audio output when that is unset. Every state
// change it waits for is bounded (5 s): a file that never becomes playable
// fails load instead of blocking the caller.
class ECS_API CPlayerMP3 : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CPlayerMP3")

public:
    CPlayerMP3();
    ~CPlayerMP3() override;

    // Closes what is open, then opens the file and reads its length; false
    // when the file is missing, empty or not MP3.
    bool load(const CString& strPath);
    void close();
    bool isLoaded();
    // From the beginning of the loaded file.
    bool play();
    void stop();
    void pause();
    void resume();
    // Moves to the position and plays from there.
    void seekToTime(unsigned int uiSeconds);
    unsigned int getTotalTime();
    unsigned int getCurrentTime();

protected:
    CPlayerMP3(const CPlayerMP3& other);
    CPlayerMP3& operator=(const CPlayerMP3& other);

private:
    IPlayerMP3* m_pPlayer;
};

} // namespace Trell

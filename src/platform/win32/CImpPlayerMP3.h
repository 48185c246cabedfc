#pragma once

#include <platform/IPlayerMP3.h>

namespace Trell {

// MP3 playback through the Media Control Interface (mciSendCommandW) with the
// "MPEGVideo" device, in millisecond time format.
//
// Used by one thread at a time (the player's worker). Without a sound device
// or a codec the device does not open: load fails and logs the system's
// reason, and the other calls do nothing.
class CImpPlayerMP3 : public IPlayerMP3
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPlayerMP3")

public:
    CImpPlayerMP3();
    ~CImpPlayerMP3() override;

    // Opens the file and reads its length, kept in whole seconds (rounded
    // down). Any failing step closes the device again.
    bool load(const CString& strPath) override;
    void close() override;
    bool isLoaded() override { return m_uiDevice != 0; }
    // From the beginning.
    bool play() override;
    // Halts where it is; the file stays loaded.
    void stop() override;
    void pause() override;
    void resume() override;
    // Moves to the position and plays from there; a position past the
    // length is ignored.
    void seekToTime(unsigned int uiSeconds) override;
    unsigned int getTotalTime() override { return m_uiTotalTime; }
    // Whole seconds played, never more than the length.
    unsigned int getCurrentTime() override;

protected:
    CImpPlayerMP3(const CImpPlayerMP3& other);
    CImpPlayerMP3& operator=(const CImpPlayerMP3& other);

private:
    unsigned int m_uiDevice; // the MCI device id; 0 while nothing is loaded
    unsigned int m_uiTotalTime;
};

} // namespace Trell

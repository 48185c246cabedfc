#pragma once

// Threading contract
// ------------------
// - play() and stop() may be called from any thread (stop never from the
//   worker itself, nor concurrently with play or another stop); the worker
//   ("ap" thread entry, like the audio player's) plays on each wake-up the
//   latest sound asked for and calls the provider only there.
// - The state is an atomic written by callers and the worker; the path is
//   copied under m_syncThread (the lock of CThread).
// - getInstance/deleteInstance do not lock; the host calls them from its
//   main thread.

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <platform/CThread.h>
#include <text/CString.h>

#include <atomic>

namespace Trell {

template <class T>
class CSingleton;

class CPlayerMP3;
class ISoundPlayerProvider;

// The process-wide player of one short sound at a time (a key click, an
// alert), through the host's provider or the built-in MP3 player. A newer
// play before the worker has picked up the previous one replaces it.
class ECS_API CSoundPlayer : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CSoundPlayer")

public:
    enum ESoundState
    {
        SOUND_STATE_REQUESTED = 1, // a play was asked for
        SOUND_STATE_STARTED = 2,   // the worker has started it
        SOUND_STATE_IDLE = 3
    };

    static CSoundPlayer* getInstance();
    static void deleteInstance();

    // Not owned. Set it while the worker is idle.
    void setProvider(ISoundPlayerProvider* pProvider) { m_pProvider.store(pProvider); }
    void play(const CString& strPath);
    // Ends the worker (joining it) and forgets the path; nothing when idle.
    void stop();

    ESoundState getSoundState() const { return static_cast<ESoundState>(m_iSoundState.load()); }

protected:
    friend class CSingleton<CSoundPlayer>;
    CSoundPlayer();
    ~CSoundPlayer() override;
    CSoundPlayer(const CSoundPlayer& other);
    CSoundPlayer& operator=(const CSoundPlayer& other);

    void run() override;

private:
    static CSoundPlayer* s_pInstance;

    std::atomic<ISoundPlayerProvider*> m_pProvider;
    std::atomic<int> m_iSoundState;
    CString m_strSoundPath;
    CPlayerMP3* m_pMP3;
};

} // namespace Trell

#pragma once

// Threading contract
// ------------------
// - Callers on any thread only queue commands (addAudio, play, pause, next,
//   ...); the player's own worker ("ap" thread entry) executes them one at a
//   time, in order. Provider and listener are called on the worker only.
// - The progress timer is delivered on the thread that handles the message
//   center's messages (the main loop); onTimer only queues a progress
//   command.
// - m_syncPlayer guards the playlist and the command queue; the current
//   index, the status and the provider and listener pointers are atomics. Lock order: this lock, then the timer
//   manager's, then the message center's (stopping the progress timer under
//   this lock, at the end of the last track, takes the other two).
// - stop() joins the worker, so it is never called with this lock held by
//   the caller; called on the worker itself (end of the last track) it only
//   asks the worker to end.
// - getInstance/deleteInstance do not lock; the host calls them from its
//   main thread.

#include <audio/IAudioPlayerListener.h>
#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <platform/CSyncObject.h>
#include <platform/CThread.h>
#include <text/CString.h>
#include <timer/CTimer.h>

#include <atomic>

namespace Trell {

template <class T>
class CSingleton;

class CPlayerMP3;
class IAudioPlayerProvider;

// The process-wide playlist player. It plays through the host's provider,
// or through its built-in MP3 player when no provider is set; at the end of
// a track it moves to the next entry, and after the last one it stops.
class ECS_API CAudioPlayer : public CThread, public ITimerListener
{
    TRELL_DECLARE_ALLOCATOR(u"CAudioPlayer")

public:
    // One queued command.
    struct tagPlayCommand
    {
        TRELL_DECLARE_ALLOCATOR(u"CAudioPlayer::tagPlayCommand")

        unsigned int type;
        int index;          // playlist position
        unsigned int param; // seconds, for a seek
    };

    enum ECommandType
    {
        COMMAND_PLAY = 1,
        COMMAND_STOP = 2,
        COMMAND_PAUSE = 3,
        COMMAND_RESUME = 4,
        COMMAND_SEEK = 5,
        COMMAND_PROGRESS = 6
    };

    // Milliseconds between two progress reports.
    static constexpr unsigned int PROGRESS_INTERVAL = 1000;

    static CAudioPlayer* getInstance();
    static void deleteInstance();

    // Neither is owned. Set them while the worker is idle.
    void setProvider(IAudioPlayerProvider* pProvider) { m_pProvider.store(pProvider); }
    void setListener(IAudioPlayerListener* pListener) { m_pListener.store(pListener); }

    // Appends to the playlist; a running player switches to the new entry.
    void addAudio(const CString& strPath);
    // Empties the playlist; a running player stops playing.
    void clearAllAudios();
    // Starts the worker and the first entry; nothing while the worker runs.
    void play();
    // Replaces the playlist with this one file and plays it.
    void playAudio(const CString& strPath);
    void pause();
    void resume();
    // Ends the worker (joining it) and drops every queued command.
    void stop();
    // Within the playlist's bounds; nothing at the last (first) entry.
    void next();
    void previous();
    void seekToTime(unsigned int uiSeconds);
    // The path of the current entry, or an empty string.
    CString getCurrentAudio();

    // The status last reported to the listener.
    IAudioPlayerListener::EPlayStatus getPlayStatus() const
    {
        return static_cast<IAudioPlayerListener::EPlayStatus>(m_iPlayStatus.load());
    }

protected:
    friend class CSingleton<CAudioPlayer>;
    CAudioPlayer();
    ~CAudioPlayer() override;
    CAudioPlayer(const CAudioPlayer& other);
    CAudioPlayer& operator=(const CAudioPlayer& other);

    // The progress timer: every PROGRESS_INTERVAL ms through the timer manager.
    // (The historical spelling of the names is kept deliberately.)
    void startTimmer();
    void stopTimmer();
    void onTimer(const CTimer* pTimer, unsigned int uiCount) override;
    void onTimerComplete(const CTimer* pTimer) override;

    void run() override;
    // Executes one command on the worker and deletes it.
    void handleCommand(tagPlayCommand* pCommand, const CString& strPath);

private:
    // Appends a command and wakes the worker, only while the worker runs
    // and no stop has been asked for.
    void queueCommand(unsigned int uiType, int iIndex, unsigned int uiParam);
    // Deletes every queued command (lock held).
    void deleteCommands();
    // Current and total time of what plays; 0 each with nothing loaded.
    void readTimes(unsigned int& uiCurrent, unsigned int& uiTotal);

    static CAudioPlayer* s_pInstance;

    std::atomic<IAudioPlayerProvider*> m_pProvider;
    std::atomic<IAudioPlayerListener*> m_pListener;
    CSyncObject m_syncPlayer;
    CDataArray<CString> m_aryPlaylist;
    // -1 while nothing is current.
    std::atomic<int> m_iCurrentIndex;
    std::atomic<int> m_iPlayStatus;
    // Owned commands, first in first out.
    CDataList<tagPlayCommand*> m_listCommands;
    CTimer m_progressTimer;
    CPlayerMP3* m_pMP3;
};

} // namespace Trell

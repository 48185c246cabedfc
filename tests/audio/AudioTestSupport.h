#pragma once

// Shared pieces of the audio tests: media generated at run time (no binary
// file is kept in the tree), a listener and providers that record what the
// players do, and a main loop that delivers the timer messages of the
// progress reports.

#include <audio/IAudioPlayerListener.h>
#include <audio/IAudioPlayerProvider.h>
#include <audio/ISoundPlayerProvider.h>
#include <text/CString.h>

#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace AudioTest {

using namespace Trell;

// The sink for every player of the test program: real-time playback
// without a sound card. Call before the first file is loaded.
void useTestSink();

// Files made once per program in a temporary folder, as library paths.
struct tagMedia
{
    CString strLong;    // 2.3 s of tone: 2 seconds long
    CString strTagged;  // the same behind an ID3v2 tag
    CString strShort;   // 1.3 s of tone: 1 second long
    CString strShortB;  // another 1.3 s tone
    CString strCorrupt; // bytes that decode as nothing
    CString strEmpty;   // 0 bytes
    CString strWave;    // a playable file that is not MPEG audio
    CString strMissing; // no such file
    CString strFolder;  // a folder, not a file
};
const tagMedia& media();

// A thread-safe log of events as text, so that sequences compare at once.
class CEventLog
{
public:
    void add(const std::string& strEvent)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_events.push_back(strEvent);
    }
    std::vector<std::string> events() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_events;
    }
    unsigned int size() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return static_cast<unsigned int>(m_events.size());
    }
    unsigned int count(const std::string& strEvent) const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return static_cast<unsigned int>(std::count(m_events.begin(), m_events.end(), strEvent));
    }
    // Waits until the event has been logged at least uiTimes times.
    bool waitFor(const std::string& strEvent, unsigned int uiTimes = 1) const
    {
        return waitUntil([&] { return count(strEvent) >= uiTimes; });
    }
    // The events without those of one kind (prefix), in order.
    std::vector<std::string> without(const std::string& strPrefix) const
    {
        std::vector<std::string> result;
        for (const std::string& strEvent : events()) {
            if (strEvent.compare(0, strPrefix.size(), strPrefix) != 0)
                result.push_back(strEvent);
        }
        return result;
    }
    void clear()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_events.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
};

// Logs "audio:<path>", "time:<current>/<total>" and "status:<n>".
class CRecordingListener : public IAudioPlayerListener, public CEventLog
{
public:
    void onNowPlayingAudioChange(const CString& strPath) override { add("audio:" + narrow(strPath)); }
    void onNowPlayingTimeChange(unsigned int uiCurrent, unsigned int uiTotal) override
    {
        add("time:" + std::to_string(uiCurrent) + "/" + std::to_string(uiTotal));
    }
    void onPlayStatusChange(IAudioPlayerListener::EPlayStatus eStatus) override
    {
        add("status:" + std::to_string(static_cast<int>(eStatus)));
    }
};

// Plays nothing and logs every call but the time queries. Its clock is set
// by the test: play starts at 0 and a seek jumps, as a real player's would.
class CRecordingProvider : public IAudioPlayerProvider, public CEventLog
{
public:
    void release() override { add("release"); }
    void initialize() override { add("initialize"); }
    void play(const CString& strPath) override
    {
        m_uiCurrent.store(0);
        add("play:" + narrow(strPath));
    }
    void stop() override { add("stop"); }
    void pause() override { add("pause"); }
    void resume() override { add("resume"); }
    void seekToTime(unsigned int uiSeconds) override
    {
        m_uiCurrent.store(uiSeconds);
        add("seek:" + std::to_string(uiSeconds));
    }
    unsigned int getCurrentTime() override { return m_uiCurrent.load(); }
    unsigned int getTotalTime() override { return m_uiTotal.load(); }

    std::atomic<unsigned int> m_uiCurrent{0};
    std::atomic<unsigned int> m_uiTotal{0};
};

// Logs "play:<path>" and "stop". While held, playSound blocks until
// unblocked, so that the test knows where the worker is.
class CRecordingSoundProvider : public ISoundPlayerProvider, public CEventLog
{
public:
    void playSound(const CString& strPath) override
    {
        add("play:" + narrow(strPath));
        std::unique_lock<std::mutex> lock(m_mutexHold);
        m_bInside = true;
        m_condHold.notify_all();
        m_condHold.wait(lock, [&] { return !m_bHeld; });
        m_bInside = false;
    }
    void stopSound() override { add("stop"); }

    void hold()
    {
        std::lock_guard<std::mutex> guard(m_mutexHold);
        m_bHeld = true;
    }
    // Waits until the worker is blocked inside playSound.
    bool waitInside()
    {
        std::unique_lock<std::mutex> lock(m_mutexHold);
        return m_condHold.wait_for(lock, std::chrono::seconds(60), [&] { return m_bInside; });
    }
    void unblock()
    {
        std::lock_guard<std::mutex> guard(m_mutexHold);
        m_bHeld = false;
        m_condHold.notify_all();
    }

private:
    std::mutex m_mutexHold;
    std::condition_variable m_condHold;
    bool m_bHeld = false;
    bool m_bInside = false;
};

// The host's main loop on a thread of its own: pops and handles the message
// center's messages (the progress timer's among them) until destroyed.
// Starts the timer manager, and stops it and frees both singletons at the end.
class CMainLoop
{
public:
    CMainLoop();
    ~CMainLoop();
    CMainLoop(const CMainLoop&) = delete;
    CMainLoop& operator=(const CMainLoop&) = delete;

private:
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

} // namespace AudioTest

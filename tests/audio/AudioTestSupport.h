#pragma once

// Shared pieces of the audio tests: media generated at run time (no binary
// file is kept in the tree), a recorder that stands in for the host's
// providers and listener, and a main loop that delivers the progress timer.

#include <audio/IAudioPlayerListener.h>
#include <audio/IAudioPlayerProvider.h>
#include <audio/ISoundPlayerProvider.h>
#include <text/CString.h>

#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace AudioTest {

using namespace Trell;
using Events = std::vector<std::string>;

// GStreamer and GLib are not built for ThreadSanitizer: their threads hand
// memory to each other through synchronisation it cannot see, so any
// pipeline draws reports from inside them. Under it the built-in player's
// tests are skipped; the recorder covers the command queue and the workers.
#if defined(__SANITIZE_THREAD__)
constexpr bool THREAD_SANITIZER = true;
#else
constexpr bool THREAD_SANITIZER = false;
#endif
// A build without GStreamer (the 32-bit one) has a player that loads
// nothing: the same tests skip there.
#if defined(ECS_TEST_NO_GSTREAMER)
constexpr bool NO_GSTREAMER = true;
#else
constexpr bool NO_GSTREAMER = false;
#endif
#define SKIP_GSTREAMER_UNDER_TSAN()                                                                                    \
    if (THREAD_SANITIZER)                                                                                              \
        GTEST_SKIP() << "GStreamer is not instrumented for ThreadSanitizer";                                           \
    if (NO_GSTREAMER)                                                                                                  \
    GTEST_SKIP() << "built without GStreamer (ECS_AUDIO_GSTREAMER=OFF): the MP3 player loads nothing"

// Files made once per program in a temporary folder. Their first use also
// makes every player of the program play in real time without a sound card.
struct tagMedia
{
    CString strLong;   // 2.3 s of tone: 2 seconds long
    CString strTagged; // the same behind an ID3v2 tag
    CString strShort;  // 1.3 s: 1 second long
    CString strShortB; // another one
    CString strCorrupt, strEmpty, strWave, strMissing, strFolder;
};
const tagMedia& media();

// Logs, as text and in one order, what a player asks of its provider and
// tells its listener. As audio provider its clock starts at 0 on play and
// jumps on a seek; as sound provider playSound waits while m_bHold is set.
class CRecorder : public IAudioPlayerListener, public IAudioPlayerProvider, public ISoundPlayerProvider
{
    TRELL_DECLARE_ALLOCATOR(u"CRecorder")

public:
    void onNowPlayingAudioChange(const CString& strPath) override { add("audio:" + narrow(strPath)); }
    void onNowPlayingTimeChange(unsigned int uiNow, unsigned int uiAll) override
    {
        add("time:" + std::to_string(uiNow) + "/" + std::to_string(uiAll));
    }
    void onPlayStatusChange(EPlayStatus eStatus) override { add("status:" + std::to_string(eStatus)); }

    void release() override { add("release"); }
    void initialize() override { add("initialize"); }
    void play(const CString& strPath) override { m_uiCurrent = 0; add("play:" + narrow(strPath)); }
    void stop() override { add("stop"); }
    void pause() override { add("pause"); }
    void resume() override { add("resume"); }
    void seekToTime(unsigned int uiSecond) override { m_uiCurrent = uiSecond; add("seek:" + std::to_string(uiSecond)); }
    unsigned int getCurrentTime() override { return m_uiCurrent; }
    unsigned int getTotalTime() override { return m_uiTotal; }

    void playSound(const CString& strPath) override
    {
        add("sound:" + narrow(strPath));
        m_bInside = true;
        waitUntil([&] { return !m_bHold; });
        m_bInside = false;
    }
    void stopSound() override { add("stopSound"); }

    // Everything but the progress reports, whose number depends on timing.
    Events events() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        Events result;
        std::copy_if(m_events.begin(), m_events.end(), std::back_inserter(result),
                     [](const std::string& strEvent) { return strEvent.compare(0, 5, "time:") != 0; });
        return result;
    }
    unsigned int count(const std::string& strEvent) const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return static_cast<unsigned int>(std::count(m_events.begin(), m_events.end(), strEvent));
    }
    bool waitFor(const std::string& strEvent, unsigned int uiTimes = 1) const
    {
        return waitUntil([&] { return count(strEvent) >= uiTimes; });
    }

    unsigned int size() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return static_cast<unsigned int>(m_events.size());
    }

    std::atomic<unsigned int> m_uiCurrent{0}, m_uiTotal{0};
    std::atomic<bool> m_bHold{false}, m_bInside{false};

private:
    void add(const std::string& strEvent)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_events.push_back(strEvent);
    }

    mutable std::mutex m_mutex;
    Events m_events;
};

// The host's main loop on a thread of its own, with the timer manager
// running; both singletons are gone again after it.
class CMainLoop
{
public:
    CMainLoop();
    ~CMainLoop();

private:
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

} // namespace AudioTest

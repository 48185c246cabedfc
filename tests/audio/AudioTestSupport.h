#pragma once

// Shared pieces of the audio tests: media generated at run time (no binary
// file is kept in the tree), a recorder that stands in for the host's
// providers and listener, and the main loop that delivers the progress timer.

#include <audio/IAudioPlayerListener.h>
#include <audio/IAudioPlayerProvider.h>
#include <audio/ISoundPlayerProvider.h>
#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <text/CString.h>
#include <timer/CTimerManager.h>

#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
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
// A build without GStreamer (the 32-bit one) has a player that loads
// nothing: the same tests skip there.
#if defined(__SANITIZE_THREAD__) || defined(ECS_TEST_NO_GSTREAMER)
#define SKIP_WITHOUT_GSTREAMER() GTEST_SKIP() << "GStreamer is not built in, or not instrumented for ThreadSanitizer"
#else
#define SKIP_WITHOUT_GSTREAMER()
#endif

// A file made once per program in a temporary folder: "long.mp3" (2.3 s of
// tone: 2 seconds long), "short.mp3" and "short_b.mp3" (1.3 s: 1 second long), "corrupt.mp3" and
// "empty.mp3"; any other name is missing. The first use also makes every player of the program play in
// real time without a sound card.
inline CString media(const std::string& strName)
{
    static CTempFolder s_folder;
    static const bool s_bMade = [] {
#ifndef _WIN32 // a GStreamer setting
        setenv("ECS_AUDIO_SINK", "fakesink sync=true", 0);
#endif
        // Tenths of a second of tone through the MP3 encoder, by GStreamer's own tool.
        auto writeTone = [](const std::string& strFile, unsigned int uiTenths) {
            const std::string strCommand = "gst-launch-1.0 -q audiotestsrc num-buffers=" + std::to_string(uiTenths) +
                                           " samplesperbuffer=2205 ! audio/x-raw,rate=22050,channels=1 ! lamemp3enc "
                                           "target=bitrate bitrate=32 cbr=true ! filesink location=" +
                                           s_folder.native(strFile);
            EXPECT_EQ(std::system(strCommand.c_str()), 0) << strCommand;
        };
        writeTone("long.mp3", 23);
        writeTone("short.mp3", 13);
        writeTone("short_b.mp3", 13);
        std::string strNoise;
        for (unsigned int i = 0; i < 4096; ++i)
            strNoise += static_cast<char>((i * 7919u) >> 3);
        s_folder.writeFile("corrupt.mp3", strNoise);
        s_folder.writeFile("empty.mp3", "");
        return true;
    }();
    return s_bMade ? s_folder.path(strName) : CString();
}

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
    void play(const CString& strPath) override { add("play:" + narrow(strPath), 0); }
    void stop() override { add("stop"); }
    void pause() override { add("pause"); }
    void resume() override { add("resume"); }
    void seekToTime(unsigned int uiSecond) override { add("seek:" + std::to_string(uiSecond), uiSecond); }
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

    std::atomic<unsigned int> m_uiCurrent{0}, m_uiTotal{0};
    std::atomic<bool> m_bHold{false}, m_bInside{false};

private:
    // An event, and where the provider's clock stands after it (-1: where it was).
    void add(const std::string& strEvent, long long llClock = -1)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_events.push_back(strEvent);
        if (llClock >= 0)
            m_uiCurrent = static_cast<unsigned int>(llClock);
    }

    mutable std::mutex m_mutex;
    Events m_events;
};

// The host's main loop, run on the test thread until the condition holds.
template <class TCondition>
bool pumpUntil(TCondition condition)
{
    return waitUntil([&] {
        while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
            pMessage->handleMessage();
        return condition();
    });
}

} // namespace AudioTest

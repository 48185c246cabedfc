#include <audio/CAudioPlayer.h>
#include <audio/CAudioPlayerProxy.h>
#include <configuration/CConfigParser.h>
#include <text/CString.h>
#include <timer/CTimerManager.h>

#include "audio/AudioTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace Trell;
using namespace AudioTest;

namespace {

using Events = std::vector<std::string>;

// The player over a recording provider: what it asks of the provider and
// what it tells the listener is the whole observable behaviour.
class AudioPlayerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_pPlayer = CAudioPlayer::getInstance();
        ASSERT_NE(m_pPlayer, nullptr);
        m_pPlayer->setProvider(&m_provider);
        m_pPlayer->setListener(&m_listener);
    }
    void TearDown() override
    {
        m_pPlayer->stop();
        CAudioPlayer::deleteInstance();
        CConfigParser::deleteInstance();
        // play() started the progress timer, which made a timer manager.
        CTimerManager::deleteInstance();
    }

    void addAudios(std::initializer_list<const char16_t*> paths)
    {
        for (const char16_t* pszPath : paths)
            m_pPlayer->addAudio(CString(pszPath));
    }
    // Waits until the worker has made this entry current.
    bool waitForCurrent(const std::string& strPath)
    {
        return waitUntil([&] { return narrow(m_pPlayer->getCurrentAudio()) == strPath; });
    }
    // Waits until the worker has run and ended.
    bool waitForWorkerEnd()
    {
        return waitUntil([&] { return m_pPlayer->getThreadID() == 0; });
    }

    CRecordingProvider m_provider;
    CRecordingListener m_listener;
    CAudioPlayer* m_pPlayer = nullptr;
};

TEST_F(AudioPlayerTest, PlayOnAnEmptyPlaylistStartsTheWorkerButPlaysNothing)
{
    m_pPlayer->play();
    ASSERT_TRUE(waitUntil([&] { return m_pPlayer->getThreadID() != 0; }));
    // The worker runs: commands reach the provider.
    m_pPlayer->pause();
    ASSERT_TRUE(m_provider.waitFor("pause"));
    EXPECT_EQ(m_pPlayer->getCurrentAudio(), CString(u""));
    m_pPlayer->stop();
    EXPECT_EQ(m_pPlayer->getThreadID(), 0u);
    EXPECT_EQ(m_provider.events(), (Events{"pause", "release"}));
    EXPECT_EQ(m_listener.events(), (Events{"status:1", "status:2"}));
    EXPECT_EQ(m_pPlayer->getPlayStatus(), IAudioPlayerListener::PLAY_STATUS_STOPPED);
}

// Only play starts anything: commands before it, and commands after a stop,
// are not kept for later.
TEST_F(AudioPlayerTest, CommandsWhileIdleAreDropped)
{
    addAudios({u"a", u"b"});
    m_pPlayer->pause();
    m_pPlayer->resume();
    m_pPlayer->next();
    m_pPlayer->seekToTime(3);
    m_pPlayer->clearAllAudios();
    addAudios({u"a", u"b"});
    m_pPlayer->play();
    ASSERT_TRUE(waitForCurrent("a"));
    m_pPlayer->stop();
    m_pPlayer->pause();
    m_pPlayer->next();
    m_pPlayer->play();
    m_pPlayer->resume();
    ASSERT_TRUE(m_provider.waitFor("resume"));
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "release", "play:a", "resume"}));
}

TEST_F(AudioPlayerTest, NextAndPreviousStayWithinThePlaylist)
{
    addAudios({u"a", u"b", u"c"});
    m_pPlayer->play();
    ASSERT_TRUE(waitForCurrent("a"));
    m_pPlayer->previous(); // at the first entry: nothing
    m_pPlayer->next();
    ASSERT_TRUE(waitForCurrent("b"));
    m_pPlayer->next();
    ASSERT_TRUE(waitForCurrent("c"));
    m_pPlayer->next(); // at the last entry: nothing
    m_pPlayer->previous();
    ASSERT_TRUE(waitForCurrent("b"));
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "play:b", "play:c", "play:b"}));
    EXPECT_EQ(m_listener.without("status:"), (Events{"audio:a", "audio:b", "audio:c", "audio:b"}));
}

// Each command reports the status it leads to; a seek reports "stopped"
// although the track plays on (the kept, deliberate status 2).
TEST_F(AudioPlayerTest, StatusSequenceOfPauseResumeAndSeek)
{
    addAudios({u"a"});
    m_pPlayer->play();
    // A seek needs a current entry.
    ASSERT_TRUE(waitForCurrent("a"));
    m_pPlayer->pause();
    m_pPlayer->pause();
    m_pPlayer->resume();
    m_pPlayer->seekToTime(5);
    m_pPlayer->resume();
    ASSERT_TRUE(m_provider.waitFor("resume", 2));
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "pause", "pause", "resume", "seek:5", "resume"}));
    EXPECT_EQ(m_listener.events(), (Events{"audio:a", "status:0", "status:1", "status:0", "status:2", "status:0"}));
    EXPECT_EQ(m_pPlayer->getPlayStatus(), IAudioPlayerListener::PLAY_STATUS_PLAYING);
}

// A track ends when its clock reaches its length: the player moves to the
// next entry, and after the last one its worker ends.
TEST_F(AudioPlayerTest, EndOfTrackAdvancesAndTheLastOneStops)
{
    m_provider.m_uiTotal.store(3);
    addAudios({u"a", u"b"});
    m_pPlayer->play();
    ASSERT_TRUE(waitForCurrent("a"));
    m_pPlayer->seekToTime(2); // not the end yet
    m_pPlayer->seekToTime(3);
    ASSERT_TRUE(waitForCurrent("b"));
    m_pPlayer->seekToTime(3);
    ASSERT_TRUE(m_provider.waitFor("release"));
    ASSERT_TRUE(waitForWorkerEnd());
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "seek:2", "seek:3", "play:b", "seek:3", "release"}));
    EXPECT_EQ(m_listener.events(), (Events{"audio:a", "status:0", "status:2", "audio:b", "status:0", "status:2",
                                           "status:2"}));
    EXPECT_EQ(m_pPlayer->getCurrentAudio(), CString(u""));

    // Ended, not stuck: play starts again from the first entry (once the
    // worker has fully left; a play before that does nothing).
    ASSERT_TRUE(waitUntil([&] {
        m_pPlayer->play();
        return m_provider.count("play:a") == 2;
    }));
}

// A length of 0 never ends a track, even with the clock at 0.
TEST_F(AudioPlayerTest, NoLengthNoEnd)
{
    addAudios({u"a", u"b"});
    m_pPlayer->play();
    ASSERT_TRUE(waitForCurrent("a"));
    m_pPlayer->seekToTime(0);
    m_pPlayer->pause();
    ASSERT_TRUE(m_provider.waitFor("pause"));
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "seek:0", "pause"}));
}

// The same operations through the proxy: adding to a running player
// switches to the new entry, clearing stops, playAudio starts over.
TEST_F(AudioPlayerTest, ProxyAddClearAndPlayAudio)
{
    CAudioPlayerProxy::setProvider(&m_provider);
    CAudioPlayerProxy::setListener(&m_listener);
    CAudioPlayerProxy::addAudio(CString(u"a"));
    CAudioPlayerProxy::play();
    CAudioPlayerProxy::addAudio(CString(u"d"));
    ASSERT_TRUE(waitUntil([] { return narrow(CAudioPlayerProxy::getCurrentAudio()) == "d"; }));
    CAudioPlayerProxy::pause();
    CAudioPlayerProxy::resume();
    CAudioPlayerProxy::previous();
    ASSERT_TRUE(waitUntil([] { return narrow(CAudioPlayerProxy::getCurrentAudio()) == "a"; }));
    CAudioPlayerProxy::next();
    // Taken before the playlist empties (a command for an entry that is gone
    // would play an empty path).
    ASSERT_TRUE(m_provider.waitFor("play:d", 2));
    CAudioPlayerProxy::seekToTime(1);
    CAudioPlayerProxy::clearAllAudios();
    ASSERT_TRUE(m_provider.waitFor("stop"));
    EXPECT_EQ(CAudioPlayerProxy::getCurrentAudio(), CString(u""));

    CAudioPlayerProxy::playAudio(CString(u"x"));
    ASSERT_TRUE(m_provider.waitFor("play:x"));
    CAudioPlayerProxy::next(); // one entry only: nothing
    CAudioPlayerProxy::stop();
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "play:d", "pause", "resume", "play:a", "play:d", "seek:1", "stop",
                                           "release", "play:x", "release"}));
    EXPECT_EQ(m_listener.events(), (Events{"audio:a", "status:0", "audio:d", "status:1", "status:0", "audio:a",
                                           "audio:d", "status:2", "status:2", "audio:x", "status:0", "status:2"}));
}

// The progress timer, delivered by the main loop, reports the provider's
// clock once a second, and each report sets the status to "stopped" until
// the next play command sets it back (the kept, deliberate status 2).
TEST_F(AudioPlayerTest, ProgressTicksReportTheClockWithStatusTwo)
{
    CMainLoop loop;
    m_provider.m_uiTotal.store(10);
    addAudios({u"a", u"b"});
    m_pPlayer->play();
    ASSERT_TRUE(m_listener.waitFor("time:0/10"));
    m_provider.m_uiCurrent.store(4);
    ASSERT_TRUE(m_listener.waitFor("time:4/10"));
    m_pPlayer->next();
    ASSERT_TRUE(m_listener.waitFor("status:0", 2));
    const unsigned int uiTicks = m_listener.count("time:0/10");
    ASSERT_TRUE(m_listener.waitFor("time:0/10", uiTicks + 1));
    m_pPlayer->stop();
    EXPECT_EQ(m_listener.without("time:"),
              (Events{"audio:a", "status:0", "status:2", "audio:b", "status:0", "status:2", "status:2"}));
}

// A listener may stop the player from its callback, on the worker itself.
TEST_F(AudioPlayerTest, StopFromTheWorkerDoesNotWaitForItself)
{
    struct CStoppingListener : CRecordingListener
    {
        void onNowPlayingAudioChange(const CString& strPath) override
        {
            CRecordingListener::onNowPlayingAudioChange(strPath);
            CAudioPlayer::getInstance()->stop();
        }
    } listener;
    m_pPlayer->setListener(&listener);
    addAudios({u"a", u"b"});
    m_pPlayer->play();
    m_pPlayer->next();
    ASSERT_TRUE(m_provider.waitFor("release"));
    ASSERT_TRUE(waitForWorkerEnd());
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "release"}));
    EXPECT_EQ(listener.events(), (Events{"audio:a", "status:0", "status:2"}));
}

// The worker takes the name and priority of the configuration's "ap" entry.
TEST_F(AudioPlayerTest, WorkerUsesTheApThreadEntry)
{
    CTempFolder folder;
    folder.writeFile("config.xml", "<engine_config><thread_set>"
                                   "<thread id=\"ap\" name=\"Audio\" priority=\"7\"/>"
                                   "</thread_set></engine_config>");
    ASSERT_TRUE(CConfigParser::getInstance()->load(folder.path("config.xml")));
    m_pPlayer->play();
    EXPECT_EQ(narrow(m_pPlayer->getThreadName()), "Audio");
    EXPECT_EQ(m_pPlayer->getThreadPriority(), 7);
}

// Commands from several threads at once, with stops and restarts among
// them: every command either runs or is dropped, one worker at a time,
// and each run of the worker releases the provider once.
TEST_F(AudioPlayerTest, CommandsFromManyThreads)
{
    m_provider.m_uiTotal.store(1000); // no seek reaches the end
    addAudios({u"a", u"b", u"c", u"d"});
    m_pPlayer->play();
    std::atomic<bool> bDone{false};
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 4; ++t) {
        threads.emplace_back([this, t, &bDone] {
            for (unsigned int i = 0; !bDone.load(); ++i) {
                switch ((i + t) % 6) {
                case 0: m_pPlayer->next(); break;
                case 1: m_pPlayer->previous(); break;
                case 2: m_pPlayer->pause(); break;
                case 3: m_pPlayer->resume(); break;
                case 4: m_pPlayer->seekToTime(i % 60); break;
                default: (void)m_pPlayer->getCurrentAudio(); break;
                }
            }
        });
    }
    for (unsigned int i = 0; i < 20; ++i) {
        // Let each worker handle some of the commands.
        const unsigned int uiSeen = m_provider.size();
        ASSERT_TRUE(waitUntil([&] { return m_provider.size() > uiSeen + 20; }));
        m_pPlayer->stop();
        m_pPlayer->play();
    }
    bDone.store(true);
    for (std::thread& thread : threads)
        thread.join();
    m_pPlayer->stop();
    EXPECT_EQ(m_pPlayer->getThreadID(), 0u);
    EXPECT_EQ(m_provider.count("release"), 21u);
}

} // namespace

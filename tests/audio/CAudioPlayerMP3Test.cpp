#include <audio/CAudioPlayer.h>
#include <text/CString.h>

#include "audio/AudioTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Trell;
using namespace AudioTest;

namespace {

using Events = std::vector<std::string>;

// The player with its built-in MP3 player on real files, its progress timer
// delivered by a main loop.
class AudioPlayerMP3Test : public ::testing::Test
{
protected:
    void SetUp() override
    {
        useTestSink();
        m_pPlayer = CAudioPlayer::getInstance();
        ASSERT_NE(m_pPlayer, nullptr);
        m_pPlayer->setListener(&m_listener);
    }
    void TearDown() override
    {
        m_pPlayer->stop();
        CAudioPlayer::deleteInstance();
    }

    CMainLoop m_loop;
    CRecordingListener m_listener;
    CAudioPlayer* m_pPlayer = nullptr;
};

// A file that does not load stays the current entry with no clock, so it
// never ends by itself; next moves on, and the last track's end stops the
// player.
TEST_F(AudioPlayerMP3Test, CorruptFileInTheMiddleOfThePlaylist)
{
    const std::string strFirst = narrow(media().strShort);
    const std::string strCorrupt = narrow(media().strCorrupt);
    const std::string strLast = narrow(media().strShortB);
    m_pPlayer->addAudio(media().strShort);
    m_pPlayer->addAudio(media().strCorrupt);
    m_pPlayer->addAudio(media().strShortB);
    m_pPlayer->play();

    // The first track plays to its end and the player moves on by itself.
    ASSERT_TRUE(m_listener.waitFor("audio:" + strCorrupt));
    ASSERT_TRUE(m_listener.waitFor("time:0/0", 2));
    EXPECT_EQ(narrow(m_pPlayer->getCurrentAudio()), strCorrupt);

    m_pPlayer->next();
    ASSERT_TRUE(m_listener.waitFor("audio:" + strLast));
    ASSERT_TRUE(waitUntil([&] { return m_pPlayer->getThreadID() == 0; }));
    EXPECT_EQ(m_pPlayer->getCurrentAudio(), CString(u""));

    const Events events = m_listener.events();
    // Each track's clock as reported: the first and the last reach their
    // length of 1 s, which ends them.
    EXPECT_EQ(m_listener.count("time:1/1"), 2u);
    EXPECT_EQ(m_listener.without("time:"),
              (Events{"audio:" + strFirst, "status:0", "status:2", "audio:" + strCorrupt, "status:0", "status:2",
                      "audio:" + strLast, "status:0", "status:2", "status:2"}));
}

// Pause holds the built-in player's clock, a seek lands where asked (and
// plays, so a pause follows it), resume runs the clock on to the end.
TEST_F(AudioPlayerMP3Test, PauseSeekAndResumeOnAFile)
{
    m_pPlayer->playAudio(media().strLong);
    ASSERT_TRUE(m_listener.waitFor("status:0"));
    m_pPlayer->pause();
    ASSERT_TRUE(m_listener.waitFor("status:1"));
    // Two reports, a second apart, with the clock held at 0.
    const unsigned int uiTicks = m_listener.count("time:0/2");
    ASSERT_TRUE(m_listener.waitFor("time:0/2", uiTicks + 2));
    m_pPlayer->seekToTime(1);
    m_pPlayer->pause();
    ASSERT_TRUE(m_listener.waitFor("status:1", 2));
    ASSERT_TRUE(m_listener.waitFor("time:1/2"));
    EXPECT_EQ(m_listener.count("time:2/2"), 0u);
    m_pPlayer->resume();
    ASSERT_TRUE(m_listener.waitFor("time:2/2"));
    ASSERT_TRUE(waitUntil([&] { return m_pPlayer->getThreadID() == 0; }));
}

} // namespace

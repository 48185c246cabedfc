#include <audio/CPlayerMP3.h>
#include <text/CString.h>

#include "audio/AudioTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using namespace Trell;
using namespace AudioTest;

namespace {

class PlayerMP3Test : public ::testing::Test
{
protected:
    void SetUp() override { useTestSink(); }

    // Polls the player's clock (on this thread, as the worker would).
    bool waitForTime(unsigned int uiSeconds)
    {
        return waitUntil([&] { return m_player.getCurrentTime() >= uiSeconds; });
    }

    CPlayerMP3 m_player;
};

TEST_F(PlayerMP3Test, LoadGivesTheLengthInWholeSeconds)
{
    const struct
    {
        CString strPath;
        unsigned int uiSeconds;
    } cases[] = {{media().strLong, 2}, {media().strTagged, 2}, {media().strShort, 1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(narrow(c.strPath));
        ASSERT_TRUE(m_player.load(c.strPath));
        EXPECT_TRUE(m_player.isLoaded());
        EXPECT_EQ(m_player.getTotalTime(), c.uiSeconds);
        EXPECT_EQ(m_player.getCurrentTime(), 0u);
    }
    m_player.close();
    EXPECT_FALSE(m_player.isLoaded());
    EXPECT_EQ(m_player.getTotalTime(), 0u);
}

// Nothing that is not an MP3 file loads, none of them hangs, and a failed
// load leaves nothing open, not even the file loaded before.
TEST_F(PlayerMP3Test, LoadRejectsWhatIsNotAnMP3File)
{
    const CString paths[] = {media().strMissing, media().strEmpty,  media().strCorrupt,
                             media().strWave,    media().strFolder, CString()};
    for (const CString& strPath : paths) {
        SCOPED_TRACE(narrow(strPath));
        ASSERT_TRUE(m_player.load(media().strShort));
        EXPECT_FALSE(m_player.load(strPath));
        EXPECT_FALSE(m_player.isLoaded());
        EXPECT_EQ(m_player.getTotalTime(), 0u);
        EXPECT_EQ(m_player.getCurrentTime(), 0u);
        EXPECT_FALSE(m_player.play());
    }
}

TEST_F(PlayerMP3Test, WithoutAFileEveryOperationIsHarmless)
{
    EXPECT_FALSE(m_player.isLoaded());
    EXPECT_FALSE(m_player.play());
    m_player.pause();
    m_player.resume();
    m_player.seekToTime(1);
    m_player.stop();
    m_player.close();
    EXPECT_EQ(m_player.getCurrentTime(), 0u);
    EXPECT_EQ(m_player.getTotalTime(), 0u);
}

// Play runs the clock, pause holds it, resume runs it on, and the end of the
// stream reads as the whole length; play starts again from the beginning.
TEST_F(PlayerMP3Test, PlayPauseResumeAndTheEnd)
{
    ASSERT_TRUE(m_player.load(media().strLong));
    ASSERT_TRUE(m_player.play());
    ASSERT_TRUE(waitForTime(1));
    m_player.pause();
    const unsigned int uiPaused = m_player.getCurrentTime();
    EXPECT_EQ(uiPaused, 1u);
    // Long enough for a running clock to pass the next second.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(m_player.getCurrentTime(), uiPaused);
    m_player.resume();
    ASSERT_TRUE(waitForTime(2));
    EXPECT_EQ(m_player.getCurrentTime(), m_player.getTotalTime());

    ASSERT_TRUE(m_player.play());
    EXPECT_EQ(m_player.getCurrentTime(), 0u);
}

// A seek moves the clock and plays on from there, also from a pause or a
// stop; a position past the length is ignored.
TEST_F(PlayerMP3Test, SeekMovesAndPlays)
{
    ASSERT_TRUE(m_player.load(media().strLong));
    ASSERT_TRUE(m_player.play());
    m_player.stop();
    EXPECT_TRUE(m_player.isLoaded());
    m_player.seekToTime(1);
    EXPECT_EQ(m_player.getCurrentTime(), 1u);
    ASSERT_TRUE(waitForTime(2));

    m_player.pause();
    m_player.seekToTime(3);
    EXPECT_EQ(m_player.getCurrentTime(), 2u);
    m_player.seekToTime(0);
    EXPECT_EQ(m_player.getCurrentTime(), 0u);
    ASSERT_TRUE(waitForTime(1));
}

} // namespace

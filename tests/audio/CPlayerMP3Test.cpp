#include <audio/CAudioPlayer.h>
#include <audio/CPlayerMP3.h>
#include <message/CMessageCenter.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>
#include <timer/CTimerManager.h>

#include "audio/AudioTestSupport.h"

using namespace Trell;
using namespace AudioTest;

namespace {

// Only MP3 loads, with its length in whole seconds; nothing hangs; a failed
// load leaves nothing open, not even the file loaded before, and without a
// file every operation is harmless.
TEST(PlayerMP3Test, LoadGivesTheLengthOrFails)
{
    SKIP_GSTREAMER_UNDER_TSAN();
    const std::pair<CString, int> cases[] = {{media("long.mp3"), 2},   {media("tagged.mp3"), 2},
                                             {media("short.mp3"), 1},  {media("missing.mp3"), -1},
                                             {media("empty.mp3"), -1}, {media("corrupt.mp3"), -1}};
    CPlayerMP3 player;
    for (const auto& [strPath, iSeconds] : cases) {
        SCOPED_TRACE(narrow(strPath));
        ASSERT_TRUE(player.load(media("short.mp3")));
        EXPECT_EQ(player.load(strPath), iSeconds >= 0);
        EXPECT_EQ(player.isLoaded(), iSeconds >= 0);
        EXPECT_EQ(static_cast<int>(player.getTotalTime()), std::max(iSeconds, 0));
        EXPECT_EQ(player.getCurrentTime(), 0u);
        if (iSeconds < 0) {
            EXPECT_FALSE(player.play());
            player.pause();
            player.resume();
            player.seekToTime(1);
            player.stop();
            EXPECT_EQ(player.getTotalTime() + player.getCurrentTime(), 0u);
        }
    }
}

// Play runs the clock, pause holds it, resume runs it on; a seek past the
// length is ignored, any other moves the clock and plays, also after a
// stop; the end reads as the whole length; play starts from the beginning.
TEST(PlayerMP3Test, Clock)
{
    SKIP_GSTREAMER_UNDER_TSAN();
    CPlayerMP3 player;
    auto reaches = [&](unsigned int uiSeconds) {
        return waitUntil([&] { return player.getCurrentTime() >= uiSeconds; });
    };
    ASSERT_TRUE(player.load(media("long.mp3")));
    ASSERT_TRUE(player.play());
    ASSERT_TRUE(reaches(1));
    player.pause();
    EXPECT_EQ(player.getCurrentTime(), 1u);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100)); // a running clock would pass 2
    player.seekToTime(3);
    EXPECT_EQ(player.getCurrentTime(), 1u);
    player.resume();
    ASSERT_TRUE(reaches(2));
    player.stop();
    player.seekToTime(0);
    EXPECT_EQ(player.getCurrentTime(), 0u);
    ASSERT_TRUE(reaches(2));
    std::this_thread::sleep_for(std::chrono::milliseconds(500)); // past the end of the stream
    EXPECT_EQ(player.getCurrentTime(), 2u);
    ASSERT_TRUE(player.play());
    EXPECT_EQ(player.getCurrentTime(), 0u);
}

// The audio player's built-in MP3 player on real files, the progress timer
// delivered by the main loop. A file that does not load stays current with
// no clock, so it never ends by itself; next moves on, and the end of the
// last track stops the player.
TEST(AudioPlayerMP3Test, CorruptFileInTheMiddleOfThePlaylist)
{
    SKIP_GSTREAMER_UNDER_TSAN();
    const CString paths[] = {media("short.mp3"), media("corrupt.mp3"), media("short_b.mp3")};
    // The singletons are made on this thread before other threads use them.
    CMessageCenter::getInstance();
    CTimerManager::getInstance()->start();
    CRecorder rec;
    CAudioPlayer* pPlayer = CAudioPlayer::getInstance();
    pPlayer->setListener(&rec);
    for (const CString& strPath : paths)
        pPlayer->addAudio(strPath);
    pPlayer->play();
    EXPECT_TRUE(pumpUntil([&] { return rec.count("time:0/0") >= 2; }));
    EXPECT_EQ(pPlayer->getCurrentAudio(), paths[1]);
    pPlayer->next();
    EXPECT_TRUE(pumpUntil([&] { return pPlayer->getThreadID() == 0; }));
    CAudioPlayer::deleteInstance();
    CTimerManager::getInstance()->stop();
    CTimerManager::deleteInstance();
    CMessageCenter::deleteInstance();
    EXPECT_EQ(rec.count("time:1/1"), 2u); // each good track reaches its end once
    Events expected;
    for (const CString& strPath : paths)
        expected.insert(expected.end(), {"audio:" + narrow(strPath), "status:0", "status:2"});
    expected.push_back("status:2");
    EXPECT_EQ(rec.events(), expected);
}

#if defined(ECS_TEST_NO_GSTREAMER)
// The built-in player of a build without GStreamer: a real MP3 file does not
// load, and the log says why.
TEST(PlayerMP3Unavailable, NothingLoadsAndTheLogSaysWhy)
{
    struct tagWarnings : ILogOuter
    {
        tagWarnings() { CLog::setLogOuter(this); }
        ~tagWarnings() override { CLog::setLogOuter(nullptr); }
        void outputLog(const CString&, const CString&, const CString& message) override
        {
            lines.push_back(narrow(message));
        }
        std::vector<std::string> lines;
    } warnings;
    CPlayerMP3 player;
    EXPECT_FALSE(player.load(media("short.mp3")));
    EXPECT_FALSE(player.play());
    EXPECT_EQ(warnings.lines, std::vector<std::string>{"MP3 player: cannot load " + narrow(media("short.mp3")) +
                                                       " (built without GStreamer)."});
}
#endif

} // namespace

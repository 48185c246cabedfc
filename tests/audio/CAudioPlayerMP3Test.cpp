#include <audio/CAudioPlayer.h>

#include "audio/AudioTestSupport.h"

#include <gtest/gtest.h>

using namespace Trell;
using namespace AudioTest;

namespace {

// The built-in MP3 player on real files, the progress timer delivered by the
// main loop. A file that does not load stays current with no clock, so it
// never ends by itself; next moves on, and the end of the last track stops
// the player.
TEST(AudioPlayerMP3Test, CorruptFileInTheMiddleOfThePlaylist)
{
    SKIP_GSTREAMER_UNDER_TSAN();
    const CString paths[] = {media().strShort, media().strCorrupt, media().strShortB};
    CMainLoop loop;
    CRecorder rec;
    CAudioPlayer* pPlayer = CAudioPlayer::getInstance();
    pPlayer->setListener(&rec);
    for (const CString& strPath : paths)
        pPlayer->addAudio(strPath);
    pPlayer->play();
    ASSERT_TRUE(rec.waitFor("time:0/0", 2));
    EXPECT_EQ(pPlayer->getCurrentAudio(), paths[1]);
    pPlayer->next();
    ASSERT_TRUE(rec.waitFor("audio:" + narrow(paths[2])));
    ASSERT_TRUE(waitUntil([&] { return pPlayer->getThreadID() == 0; }));
    CAudioPlayer::deleteInstance();
    EXPECT_EQ(rec.count("time:1/1"), 2u); // each good track reaches its end once
    Events expected;
    for (const CString& strPath : paths)
        expected.insert(expected.end(), {"audio:" + narrow(strPath), "status:0", "status:2"});
    expected.push_back("status:2");
    EXPECT_EQ(rec.events(), expected);
}

} // namespace

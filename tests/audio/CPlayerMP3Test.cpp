#include <audio/CPlayerMP3.h>

#include "audio/AudioTestSupport.h"

using namespace Trell;
using namespace AudioTest;

namespace {

// Only MP3 loads, with its length in whole seconds; nothing hangs; a failed
// load leaves nothing open, not even the file loaded before, and without a
// file play fails.
TEST(PlayerMP3Test, LoadGivesTheLengthOrFails)
{
    SKIP_WITHOUT_GSTREAMER();
    const std::pair<CString, int> cases[] = {{media("long.mp3"), 2},
                                             {media("short.mp3"), 1},
                                             {media("missing.mp3"), -1},
                                             {media("empty.mp3"), -1},
                                             {media("corrupt.mp3"), -1}};
    CPlayerMP3 player;
    for (const auto& [strPath, iSeconds] : cases) {
        SCOPED_TRACE(narrow(strPath));
        ASSERT_TRUE(player.load(media("short.mp3")));
        EXPECT_EQ(player.load(strPath), iSeconds >= 0);
        EXPECT_EQ(player.isLoaded(), iSeconds >= 0);
        EXPECT_EQ(static_cast<int>(player.getTotalTime()), std::max(iSeconds, 0));
        EXPECT_EQ(player.getCurrentTime(), 0u);
        EXPECT_EQ(player.play(), iSeconds >= 0);
        player.stop();
    }
}

#if defined(ECS_TEST_NO_GSTREAMER)
// The built-in player of a build without GStreamer loads nothing.
TEST(PlayerMP3Unavailable, NothingLoads)
{
    CPlayerMP3 player;
    EXPECT_FALSE(player.load(media("short.mp3")));
    EXPECT_FALSE(player.play());
}
#endif

} // namespace

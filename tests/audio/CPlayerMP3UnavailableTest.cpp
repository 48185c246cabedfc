// The built-in player of a build without GStreamer: a real MP3 file does not
// load, the log says why, and nothing else does anything.
#include <audio/CPlayerMP3.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>

#include "audio/AudioTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Trell;
using namespace AudioTest;

namespace {

class CWarnings : public ILogOuter
{
public:
    CWarnings() { CLog::setLogOuter(this); }
    ~CWarnings() override { CLog::setLogOuter(nullptr); }
    void outputLog(const CString&, const CString&, const CString& message) override
    {
        m_lines.push_back(narrow(message));
    }
    std::vector<std::string> m_lines;
};

TEST(PlayerMP3Unavailable, NothingLoadsAndTheLogSaysWhy)
{
    CWarnings warnings;
    CPlayerMP3 player;
    EXPECT_FALSE(player.load(media().strShort));
    EXPECT_FALSE(player.isLoaded());
    EXPECT_FALSE(player.play());
    player.seekToTime(1);
    EXPECT_EQ(player.getTotalTime() + player.getCurrentTime(), 0u);
    ASSERT_EQ(warnings.m_lines.size(), 1u);
    EXPECT_EQ(warnings.m_lines[0], "MP3 player: cannot load " + narrow(media().strShort) + " (built without GStreamer).");
}

} // namespace

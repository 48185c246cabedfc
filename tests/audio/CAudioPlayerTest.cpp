#include <audio/CAudioPlayer.h>
#include <audio/CAudioPlayerProxy.h>
#include <audio/CSoundPlayer.h>
#include <configuration/CConfigParser.h>
#include <timer/CTimerManager.h>

#include "audio/AudioTestSupport.h"

using namespace Trell;
using namespace AudioTest;
using Proxy = CAudioPlayerProxy;

namespace {

// The player over a recording provider and listener: what it asks of the
// one and tells the other, in order, is its whole observable behaviour.
class AudioPlayerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        Proxy::setProvider(&m_rec);
        Proxy::setListener(&m_rec);
    }
    void TearDown() override
    {
        CAudioPlayer::deleteInstance();
        CSoundPlayer::deleteInstance();
        CTimerManager::deleteInstance(); // made by the progress timer
        CConfigParser::deleteInstance();
    }
    void add(std::initializer_list<const char16_t*> paths)
    {
        for (const char16_t* pszPath : paths)
            Proxy::addAudio(CString(pszPath));
    }
    // Waits until the worker has made this entry current.
    bool current(const std::string& strPath)
    {
        return waitUntil([&] { return narrow(Proxy::getCurrentAudio()) == strPath; });
    }

    CRecorder m_rec;
    CAudioPlayer* m_pPlayer = CAudioPlayer::getInstance();
};

// Only play starts the worker (named by the configuration's "ap" entry, as
// the sound player's); commands while idle are not kept. Next and previous
// stay within the playlist; adding to a running player switches to the new
// entry; clearing stops; on an empty playlist the worker runs but plays
// nothing; playAudio starts over. Each command reports the status it leads
// to, a seek "stopped" although the track plays on (the deliberate status 2).
TEST_F(AudioPlayerTest, PlaylistCommandsAndTheStatusEachLeadsTo)
{
    CTempFolder folder;
    folder.writeFile("c.xml", "<c><thread_set><thread id=\"ap\" name=\"Audio\" priority=\"7\"/></thread_set></c>");
    ASSERT_TRUE(CConfigParser::getInstance()->load(folder.path("c.xml")));
    add({u"a", u"b"});
    Proxy::pause();
    Proxy::next();
    Proxy::seekToTime(3);
    Proxy::play();
    ASSERT_TRUE(current("a"));
    Proxy::previous(); // first entry: nothing
    Proxy::pause();
    Proxy::pause();
    Proxy::resume();
    Proxy::seekToTime(0);
    Proxy::resume();
    add({u"c"});
    ASSERT_TRUE(current("c"));
    Proxy::next(); // last entry: nothing
    Proxy::previous();
    ASSERT_TRUE(current("b"));
    Proxy::previous();
    ASSERT_TRUE(current("a"));
    Proxy::clearAllAudios(); // the current index is now the playlist's size
    ASSERT_TRUE(m_rec.waitFor("stop"));
    EXPECT_EQ(Proxy::getCurrentAudio(), CString(u""));
    Proxy::stop();
    EXPECT_EQ(m_pPlayer->getThreadID(), 0u);
    Proxy::resume();
    Proxy::play();
    Proxy::pause();
    ASSERT_TRUE(m_rec.waitFor("pause", 3));
    Proxy::playAudio(CString(u"x"));
    ASSERT_TRUE(current("x"));
    Proxy::stop();
    EXPECT_EQ(m_pPlayer->getThreadID(), 0u);
    EXPECT_EQ(m_rec.events(),
              (Events{"play:a",  "audio:a",  "status:0", "pause",    "status:1", "pause",    "resume",  "status:0",
                      "seek:0",  "status:2", "resume",   "status:0", "play:c",   "audio:c",  "play:b",  "audio:b",
                      "play:a",  "audio:a",  "stop",     "status:2", "release",  "status:2", "pause",   "status:1",
                      "release", "status:2", "play:x",   "audio:x",  "status:0", "release",  "status:2"}));
    CSoundPlayer::getInstance()->setProvider(&m_rec);
    CSoundPlayer::getInstance()->play(CString(u"s"));
    for (CThread* pThread : {static_cast<CThread*>(m_pPlayer), static_cast<CThread*>(CSoundPlayer::getInstance())}) {
        EXPECT_EQ(narrow(pThread->getThreadName()), "Audio");
        EXPECT_EQ(pThread->getThreadPriority(), 7);
    }
}

// The built-in MP3 player on real files, the progress timer delivered by the
// main loop. A file that does not load stays current with no clock, so it
// never ends by itself; next moves on, and the end of the last track stops
// the player.
TEST_F(AudioPlayerTest, CorruptFileInTheMiddleOfThePlaylist)
{
    SKIP_WITHOUT_GSTREAMER();
    const CString paths[] = {media("short.mp3"), media("corrupt.mp3"), media("short_b.mp3")};
    CMessageCenter::getInstance(); // before other threads use it
    CTimerManager::getInstance()->start();
    Proxy::setProvider(nullptr);
    for (const CString& strPath : paths)
        Proxy::addAudio(strPath);
    Proxy::play();
    EXPECT_TRUE(pumpUntil([&] { return m_rec.count("time:0/0") >= 2; }));
    EXPECT_EQ(Proxy::getCurrentAudio(), paths[1]);
    Proxy::next();
    EXPECT_TRUE(pumpUntil([&] { return m_pPlayer->getThreadID() == 0; }));
    CAudioPlayer::deleteInstance(); // before the timers and the center it uses
    CTimerManager::getInstance()->stop();
    CMessageCenter::deleteInstance();
    EXPECT_EQ(m_rec.count("time:1/1"), 2u); // each good track reaches its end once
    Events expected;
    for (const CString& strPath : paths)
        expected.insert(expected.end(), {"audio:" + narrow(strPath), "status:0", "status:2"});
    expected.push_back("status:2");
    EXPECT_EQ(m_rec.events(), expected);
}

} // namespace

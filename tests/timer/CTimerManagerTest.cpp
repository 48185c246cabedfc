#include <configuration/CConfigParser.h>

#include "platform/Reaper.h"
#include "timer/TimerTestSupport.h"

#include <filesystem>
#include <fstream>

using namespace Trell;
using namespace TimerTest;

namespace {

using CTimerManagerTest = CTimerFixture;

TEST_F(CTimerManagerTest, WorkerTakesTheTmEntryAndSleepsWithoutTimers)
{
    CTimerManager* pManager = CTimerManager::getInstance();
    // No configuration loaded: the entry's defaults. The worker has reported
    // its id before run() released start().
    EXPECT_NE(pManager->getThreadID(), 0u);
    EXPECT_EQ(pManager->getThreadPriority(), 51);
    // Without a timer the worker blocks instead of checking every 10 ms.
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(g_uiClockReads.load(), 0u);
    pManager->stop();

    const std::string path = (std::filesystem::temp_directory_path() / "timer-thread-entry.xml").string();
    std::ofstream(path) << "<engine><thread_set><thread id=\"mq\" name=\"main\" priority=\"7\"/>"
                           "<thread id=\"tm\" name=\"ticker\" priority=\"42\"/></thread_set></engine>";
    ASSERT_TRUE(CConfigParser::getInstance()->load(toCString(path)));
    pManager->start();
    EXPECT_TRUE(pManager->getThreadName() == CString(u"ticker"));
    EXPECT_EQ(pManager->getThreadPriority(), 42);
    const unsigned int uiThreadID = pManager->getThreadID();
    pManager->start();
    EXPECT_EQ(pManager->getThreadID(), uiThreadID) << "a second start replaced the worker";
    CConfigParser::deleteInstance();
    std::filesystem::remove(path);
}

// Stop while the worker idles before its first timer, and start straight
// after a stop with a timer kept or started while the manager was stopped:
// no round hangs (the reaper ends a hung run), such a timer is checked by
// the new worker without a further addTimer, and after a stop no worker is
// left checking. Then the shutdown order.
TEST_F(CTimerManagerTest, StopAndStartInQuickRoundsNeitherHangNorLoseTheTimers)
{
    CReaper reaper("timer manager stop/start rounds", std::chrono::seconds(300));
    CTimerManager* pManager = CTimerManager::getInstance();
    CTimer timer(10, 0);
    for (unsigned int uiRound = 0; uiRound < 200; ++uiRound) {
        pManager->stop();
        if (uiRound % 2 == 0) {
            timer.start();
            pManager->start();
            continue;
        }
        pManager->start();
        const unsigned int uiReads = g_uiClockReads.load();
        ASSERT_TRUE(waitUntil([&] { return g_uiClockReads.load() > uiReads; }, std::chrono::seconds(20)))
            << "round " << uiRound << ": the new worker does not check the kept timer";
        timer.stop();
    }
    timer.start();
    pManager->stop();
    EXPECT_EQ(pManager->getThreadID(), 0u);
    const unsigned int uiReads = g_uiClockReads.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(40));
    EXPECT_EQ(g_uiClockReads.load(), uiReads) << "a worker still checks after stop";
    // At shutdown the center may go first: stopping a timer then must not
    // build a new center that nobody deletes. (A running manager deleted
    // first stops its worker: every test ends so.)
    CMessageCenter::deleteInstance();
    timer.stop();
    EXPECT_FALSE(CMessageCenter::hasInstance());
}

} // namespace

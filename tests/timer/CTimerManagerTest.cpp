#include <configuration/CConfigParser.h>

#include "platform/Reaper.h"
#include "timer/TimerTestSupport.h"

#include <filesystem>
#include <fstream>

using namespace Trell;
using namespace TimerTest;

namespace {

using CTimerManagerTest = CTimerFixture;

TEST_F(CTimerManagerTest, WorkerTakesNameAndPriorityFromTheTmEntry)
{
    CTimerManager* pManager = CTimerManager::getInstance();
    // No configuration loaded: the entry's defaults. The worker has reported
    // its id before run() released start().
    ASSERT_FALSE(CConfigParser::hasInstance());
    EXPECT_NE(pManager->getThreadID(), 0u);
    EXPECT_TRUE(pManager->getThreadName().isEmpty());
    EXPECT_EQ(pManager->getThreadPriority(), 51);
    EXPECT_EQ(pManager->getCheckInterval(), 10u);
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
// after a stop with a timer kept: no round hangs (the reaper ends a hung
// run), a kept timer is checked by the new worker without a further
// addTimer, and after a stop no worker is left checking.
TEST_F(CTimerManagerTest, StopAndStartInQuickRoundsNeitherHangNorLoseTheTimers)
{
    CReaper reaper("timer manager stop/start rounds", std::chrono::seconds(300));
    CTimerManager* pManager = CTimerManager::getInstance();
    CTimer timer(10, 0);
    for (unsigned int uiRound = 0; uiRound < 200; ++uiRound) {
        pManager->stop();
        pManager->start();
        if (uiRound % 2 == 0) {
            timer.start();
            continue;
        }
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
    timer.stop();
}

// At shutdown the center may go first; stopping a timer then must not
// build a new center that nobody deletes.
TEST_F(CTimerManagerTest, RemoveTimerAfterTheCenterIsGoneLeavesItGone)
{
    CTimer timer(10, 0);
    timer.start();
    CMessageCenter::deleteInstance();
    timer.stop();
    EXPECT_FALSE(CMessageCenter::hasInstance());
}

TEST_F(CTimerManagerTest, IdleWorkerDoesNotCheck)
{
    // No timer: the worker blocks instead of checking every 10 ms.
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(g_uiClockReads.load(), 0u);

    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; })) << "addTimer did not wake the worker";
    timer.stop();

    // Once the last timer is gone the worker goes back to sleep: at most the
    // check in progress and one more read the clock, where a worker that
    // kept checking would read it every 10 ms.
    const unsigned int uiReads = g_uiClockReads.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_LE(g_uiClockReads.load() - uiReads, 2u);
}

TEST_F(CTimerManagerTest, TimersStartedBeforeTheManagerRunAreCheckedOnceItRuns)
{
    CTimerManager::getInstance()->stop();
    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(10);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    pumpMessages();
    EXPECT_TRUE(m_listener.m_events.empty());

    CTimerManager::getInstance()->start();
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));
}

TEST_F(CTimerManagerTest, StopWakesASleepingCheckAndKeepsTheTimers)
{
    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));

    CTimerManager::getInstance()->stop();
    g_uiFakeNow.store(20);
    CTimerManager::getInstance()->start();
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 2; }));
    EXPECT_EQ(m_listener.counts(&timer), (std::vector<unsigned int>{1, 2}));
}

TEST_F(CTimerManagerTest, AddTimerTwiceChecksItOnce)
{
    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    CTimerManager::getInstance()->addTimer(&timer);
    CTimerManager::getInstance()->addTimer(nullptr);
    CTimerManager::getInstance()->removeTimer(nullptr);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));
    ASSERT_TRUE(settle());
    EXPECT_EQ(m_listener.counts(&timer), (std::vector<unsigned int>{1}));
}

TEST_F(CTimerManagerTest, DeletedListRecordsEachRemovalOnceUntilCleared)
{
    CTimer a, b;
    CTimerManager* pManager = CTimerManager::getInstance();
    pManager->removeTimer(&a);
    pManager->removeTimer(&a);
    pManager->removeTimer(&b);
    EXPECT_TRUE(pManager->checkIsDeletedTimer(a.getID()));
    EXPECT_TRUE(pManager->checkIsDeletedTimer(b.getID()));
    // Adding takes the id off the list again.
    pManager->addTimer(&a);
    EXPECT_FALSE(pManager->checkIsDeletedTimer(a.getID()));
    pManager->removeTimer(&a);
    pManager->clearDeletedTimer();
    EXPECT_FALSE(pManager->checkIsDeletedTimer(a.getID()));
    EXPECT_FALSE(pManager->checkIsDeletedTimer(b.getID()));
}

TEST_F(CTimerManagerTest, DeleteInstanceOfARunningManagerStopsItsWorker)
{
    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    timer.stop();
    CTimerManager::deleteInstance();
    // A fresh instance starts cleanly.
    CTimerManager::getInstance()->start();
    EXPECT_NE(CTimerManager::getInstance()->getThreadID(), 0u);
}

} // namespace

#include "timer/TimerTestSupport.h"

using namespace Trell;
using namespace TimerTest;

namespace {

using CTimerManagerTest = CTimerFixture;

TEST_F(CTimerManagerTest, StartReturnsOnceTheNamedWorkerRuns)
{
    CTimerManager* pManager = CTimerManager::getInstance();
    // The worker has reported its id before run() released start().
    EXPECT_NE(pManager->getThreadID(), 0u);
    EXPECT_TRUE(pManager->getThreadName() == CString(u"tm"));
    EXPECT_EQ(pManager->getThreadPriority(), 51);
    EXPECT_EQ(pManager->getCheckInterval(), 10u);

    const unsigned int uiThreadID = pManager->getThreadID();
    pManager->start();
    EXPECT_EQ(pManager->getThreadID(), uiThreadID) << "a second start replaced the worker";

    pManager->stop();
    EXPECT_EQ(pManager->getThreadID(), 0u);
    pManager->stop();
    pManager->start();
    EXPECT_NE(pManager->getThreadID(), 0u);
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

    // Once the last timer is gone the worker goes back to sleep.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    const unsigned int uiReads = g_uiClockReads.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(g_uiClockReads.load(), uiReads);
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

#include <message/CMessages.h>

#include "timer/TimerTestSupport.h"

using namespace Trell;
using namespace TimerTest;

namespace {

// Builds a message holding records of the given timers, in order.
CMsgTimer* makeMessage(std::initializer_list<std::pair<CTimer*, unsigned int>> records)
{
    CMsgTimer* pMessage = new CMsgTimer();
    for (const auto& record : records)
        pMessage->addData(new CMsgTimer::CTimerData(record.first, CTimer::TIMER_STATUS_PULSE, record.second));
    return pMessage;
}

using Contents = std::vector<std::pair<const CTimer*, unsigned int>>;

Contents contents(const CMsgTimer& message)
{
    Contents result;
    for (unsigned int i = 0; i < message.getDataCount(); ++i)
        result.emplace_back(message.getDataAt(i)->getTimer(), message.getDataAt(i)->getCount());
    return result;
}

TEST(CMsgTimer, RecordsKeepOrderThroughAddMergeAndDelete)
{
    CTimer a, b, c;
    CMsgTimer* pTarget = makeMessage({{&a, 1}, {&b, 1}});
    pTarget->addData(nullptr);
    EXPECT_EQ(pTarget->getDataAt(2), nullptr);
    CMsgTimer* pSource = makeMessage({{&c, 1}, {&a, 2}, {&b, 2}});
    pTarget->margeDataFrom(pSource);
    pTarget->margeDataFrom(nullptr);
    pTarget->margeDataFrom(pTarget);
    EXPECT_EQ(contents(*pTarget), (Contents{{&a, 1}, {&b, 1}, {&c, 1}, {&a, 2}, {&b, 2}}));
    EXPECT_EQ(pSource->getDataCount(), 0u);
    // The source no longer owns the records (the sanitizer build would
    // report a double delete).
    delete pSource;

    pTarget->deleteDataByID(a.getID());
    pTarget->deleteDataByID(0);
    EXPECT_EQ(contents(*pTarget), (Contents{{&b, 1}, {&c, 1}, {&b, 2}}));
    delete pTarget;

    // The id outlives the timer: records of a deleted timer are still found by it.
    CTimer* pGone = new CTimer();
    const std::uintptr_t uiID = pGone->getID();
    CMsgTimer message;
    message.addData(new CMsgTimer::CTimerData(pGone, CTimer::TIMER_STATUS_PULSE, 1));
    delete pGone;
    EXPECT_EQ(message.getDataAt(0)->getID(), uiID);
    message.deleteDataByID(uiID);
    EXPECT_EQ(message.getDataCount(), 0u);
}

// The hooks the message center calls: only another timer message merges, and
// dropping reports a message left without records.
TEST(CMsgTimer, QueueHooksMergeTimerMessagesAndReportEmptiness)
{
    CTimer a, b;
    CMsgTimer* pFirst = makeMessage({{&a, 1}});
    CMsgTimer* pSecond = makeMessage({{&b, 1}, {&a, 2}});
    CMsgRender render(1);
    EXPECT_FALSE(pFirst->absorbNext(&render));
    EXPECT_TRUE(pFirst->absorbNext(pSecond));
    delete pSecond;
    EXPECT_EQ(contents(*pFirst), (Contents{{&a, 1}, {&b, 1}, {&a, 2}}));
    EXPECT_FALSE(pFirst->dropTimerEntries(a.getID()));
    EXPECT_TRUE(pFirst->dropTimerEntries(b.getID()));
    EXPECT_FALSE(render.dropTimerEntries(b.getID()));
    delete pFirst;
}

using CMsgTimerDelivery = CTimerFixture;

TEST_F(CMsgTimerDelivery, SkipsRemovedTimersThenForgetsTheRemovals)
{
    CTimer a, b;
    a.setListener(&m_listener);
    b.setListener(&m_listener);
    CTimerManager* pManager = CTimerManager::getInstance();
    pManager->removeTimer(&a);
    EXPECT_TRUE(pManager->checkIsDeletedTimer(a.getID()));
    EXPECT_FALSE(pManager->checkIsDeletedTimer(b.getID()));

    CMsgTimer* pMessage = makeMessage({{&a, 1}, {&b, 1}, {&a, 2}});
    pMessage->handleMessage();
    ASSERT_EQ(m_listener.m_events.size(), 1u);
    EXPECT_EQ(m_listener.m_events[0].pTimer, &b);
    EXPECT_FALSE(pManager->checkIsDeletedTimer(a.getID()));

    // A second handling now delivers a's records.
    pMessage->handleMessage();
    EXPECT_EQ(m_listener.counts(&a), (std::vector<unsigned int>{1, 2}));
    delete pMessage;
}

// A completion calls the listener, then ends the timer; the ended timer stays
// in the manager until the next check, so deleting it in between must take
// it out (the sanitizer build reports a check of a freed timer).
TEST_F(CMsgTimerDelivery, CompletionCallsTheListenerThenEndsTheTimer)
{
    CTimer* pTimer = new CTimer(100, 2);
    listenAndStart(*pTimer, m_listener);
    g_uiFakeNow.store(100);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));
    EXPECT_EQ(pTimer->getCurrentCount(), 1u);

    g_uiFakeNow.store(150);
    CMsgTimer::CTimerData record(pTimer, CTimer::TIMER_STATUS_COMPLETE, 2);
    record.handleMessage();
    EXPECT_EQ(m_listener.completeCount(), 1u);
    EXPECT_FALSE(pTimer->isRunning());
    EXPECT_EQ(pTimer->getCurrentCount(), 0u);
    delete pTimer;
    ASSERT_TRUE(settleAt(1000));
    EXPECT_EQ(m_listener.m_events.size(), 2u);
}

TEST_F(CMsgTimerDelivery, RecordWithoutTimerOrListenerDoesNothing)
{
    CMsgTimer::CTimerData orphan(nullptr, CTimer::TIMER_STATUS_COMPLETE, 1);
    orphan.handleMessage();
    EXPECT_EQ(orphan.getID(), 0u);

    CTimer timer(10, 1);
    timer.start();
    CMsgTimer::CTimerData silent(&timer, CTimer::TIMER_STATUS_COMPLETE, 1);
    silent.handleMessage();
    // Without a listener the completion is not delivered, so no terminate.
    EXPECT_TRUE(timer.isRunning());
    timer.stop();
}

} // namespace

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

TEST(CMsgTimer, AddDataIgnoresNullAndKeepsOrder)
{
    CTimer a, b;
    CMsgTimer message;
    message.addData(nullptr);
    message.addData(new CMsgTimer::CTimerData(&a, CTimer::TIMER_STATUS_PULSE, 1));
    message.addData(new CMsgTimer::CTimerData(&b, CTimer::TIMER_STATUS_COMPLETE, 7));
    ASSERT_EQ(message.getDataCount(), 2u);
    EXPECT_EQ(contents(message), (Contents{{&a, 1}, {&b, 7}}));
    EXPECT_EQ(message.getDataAt(2), nullptr);
}

TEST(CMsgTimer, MargeDataFromMovesEveryRecordToTheEnd)
{
    CTimer a, b, c;
    CMsgTimer* pTarget = makeMessage({{&a, 1}, {&b, 1}});
    CMsgTimer* pSource = makeMessage({{&c, 1}, {&a, 2}, {&b, 2}});
    pTarget->margeDataFrom(pSource);
    EXPECT_EQ(contents(*pTarget), (Contents{{&a, 1}, {&b, 1}, {&c, 1}, {&a, 2}, {&b, 2}}));
    EXPECT_EQ(pSource->getDataCount(), 0u);
    // The source no longer owns the records: deleting it leaves them intact
    // (the sanitizer build would report a double delete).
    delete pSource;
    EXPECT_EQ(contents(*pTarget), (Contents{{&a, 1}, {&b, 1}, {&c, 1}, {&a, 2}, {&b, 2}}));

    // Null and the message itself are ignored.
    pTarget->margeDataFrom(nullptr);
    pTarget->margeDataFrom(pTarget);
    EXPECT_EQ(pTarget->getDataCount(), 5u);
    // Into an empty message.
    CMsgTimer empty;
    empty.margeDataFrom(pTarget);
    EXPECT_EQ(empty.getDataCount(), 5u);
    EXPECT_EQ(pTarget->getDataCount(), 0u);
    delete pTarget;
}

TEST(CMsgTimer, DeleteDataByIDRemovesEveryRecordOfThatTimerOnly)
{
    CTimer a, b, c;
    CMsgTimer* pMessage = makeMessage({{&a, 1}, {&b, 1}, {&a, 2}, {&c, 1}, {&a, 3}, {&b, 2}});
    pMessage->deleteDataByID(a.getID());
    EXPECT_EQ(contents(*pMessage), (Contents{{&b, 1}, {&c, 1}, {&b, 2}}));
    // An unknown id changes nothing.
    pMessage->deleteDataByID(a.getID());
    pMessage->deleteDataByID(0);
    EXPECT_EQ(pMessage->getDataCount(), 3u);
    pMessage->deleteDataByID(b.getID());
    pMessage->deleteDataByID(c.getID());
    EXPECT_EQ(pMessage->getDataCount(), 0u);
    delete pMessage;
}

// The id outlives the timer: records of a deleted timer are still found by it.
TEST(CMsgTimer, RecordKeepsTheIDOfATimerThatIsGone)
{
    CTimer* pTimer = new CTimer();
    const std::uintptr_t uiID = pTimer->getID();
    CMsgTimer message;
    message.addData(new CMsgTimer::CTimerData(pTimer, CTimer::TIMER_STATUS_PULSE, 1));
    delete pTimer;
    EXPECT_EQ(message.getDataAt(0)->getID(), uiID);
    message.deleteDataByID(uiID);
    EXPECT_EQ(message.getDataCount(), 0u);
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

TEST_F(CMsgTimerDelivery, CompletionCallsTheListenerThenEndsTheTimer)
{
    CTimer timer(100, 2);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(100);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));
    EXPECT_EQ(timer.getCurrentCount(), 1u);

    // A completion record delivered by hand (the manager has the timer too,
    // which the terminate makes it drop).
    g_uiFakeNow.store(150);
    CMsgTimer::CTimerData record(&timer, CTimer::TIMER_STATUS_COMPLETE, 2);
    record.handleMessage();
    EXPECT_EQ(m_listener.completeCount(), 1u);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.getCurrentCount(), 0u);

    // Dropped at the next check, with nothing more delivered.
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

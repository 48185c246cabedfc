#include <message/CMessages.h>

#include "timer/TimerTestSupport.h"

using namespace Trell;
using namespace TimerTest;

namespace {

using Contents = std::vector<std::pair<const CTimer*, unsigned int>>;

CMsgTimer* makeMessage(const Contents& records)
{
    CMsgTimer* pMessage = new CMsgTimer();
    for (const auto& record : records)
        pMessage->addData(
            new CMsgTimer::CTimerData(const_cast<CTimer*>(record.first), CTimer::TIMER_STATUS_PULSE, record.second));
    return pMessage;
}

Contents contents(const CMsgTimer& message)
{
    Contents result;
    for (unsigned int i = 0; i < message.getDataCount(); ++i)
        result.emplace_back(message.getDataAt(i)->getTimer(), message.getDataAt(i)->getCount());
    return result;
}

// Records keep their order through add, merge (direct and through the
// center's hook) and delete; the merged source no longer owns them (the
// sanitizer build would report a double delete); a record keeps the id of
// a timer already deleted.
TEST(CMsgTimer, RecordsKeepOrderThroughAddMergeAndDelete)
{
    CTimer a, b, c;
    CMsgTimer* pTarget = makeMessage({{&a, 1}, {&b, 1}});
    pTarget->addData(nullptr);
    EXPECT_EQ(pTarget->getDataAt(2), nullptr);
    CMsgTimer* pSource = makeMessage({{&c, 1}, {&a, 2}});
    pTarget->margeDataFrom(pSource);
    pTarget->margeDataFrom(nullptr);
    pTarget->margeDataFrom(pTarget);
    EXPECT_EQ(pSource->getDataCount(), 0u);
    CMsgRender render(1);
    EXPECT_FALSE(pTarget->absorbNext(&render) || render.dropTimerEntries(b.getID()));
    EXPECT_TRUE(pTarget->absorbNext(pSource = makeMessage({{&b, 2}})));
    delete pSource;
    EXPECT_EQ(contents(*pTarget), (Contents{{&a, 1}, {&b, 1}, {&c, 1}, {&a, 2}, {&b, 2}}));

    pTarget->deleteDataByID(a.getID());
    pTarget->deleteDataByID(0);
    struct CMsgTimerCopy : public CMsgTimer
    {
        void assign(const CMsgTimer& other) { CMsgTimer::operator=(other); }
    } copy;
    copy.assign(*pTarget);
    copy.assign(copy);
    EXPECT_EQ(contents(copy), (Contents{{&b, 1}, {&c, 1}, {&b, 2}}));
    EXPECT_FALSE(pTarget->dropTimerEntries(b.getID()));
    EXPECT_TRUE(pTarget->dropTimerEntries(c.getID()));
    delete pTarget;

    CTimer* pGone = new CTimer();
    CMsgTimer* pMessage = makeMessage({{pGone, 1}});
    const std::uintptr_t uiID = pGone->getID();
    delete pGone;
    EXPECT_TRUE(pMessage->dropTimerEntries(uiID));
    delete pMessage;
}

using CMsgTimerDelivery = CTimerFixture;

// Removed timers are skipped once, then forgotten; adding takes a timer off
// the list again; a record without timer or listener does nothing.
TEST_F(CMsgTimerDelivery, SkipsRemovedTimersThenForgetsTheRemovals)
{
    CTimer a, b, c;
    a.setListener(&m_listener);
    b.setListener(&m_listener);
    CTimerManager* pManager = CTimerManager::getInstance();
    pManager->removeTimer(&a);
    pManager->removeTimer(&a);
    pManager->removeTimer(&c);
    pManager->addTimer(&c);
    EXPECT_FALSE(pManager->checkIsDeletedTimer(c.getID()));
    pManager->removeTimer(nullptr);
    EXPECT_TRUE(pManager->checkIsDeletedTimer(a.getID()));
    CMsgTimer* pMessage = makeMessage({{&a, 1}, {&b, 1}, {&a, 2}});
    pMessage->handleMessage();
    ASSERT_EQ(m_listener.m_events.size(), 1u);
    EXPECT_EQ(m_listener.m_events[0].pTimer, &b);
    EXPECT_FALSE(pManager->checkIsDeletedTimer(a.getID()));
    pMessage->handleMessage();
    EXPECT_EQ(m_listener.counts(&a), (std::vector<unsigned int>{1, 2}));
    delete pMessage;
    pManager->removeTimer(&a);
    pManager->clearDeletedTimer();
    EXPECT_FALSE(pManager->checkIsDeletedTimer(a.getID()));

    CMsgTimer::CTimerData(nullptr, CTimer::TIMER_STATUS_COMPLETE, 1).handleMessage();
    CTimer silent(10, 1);
    silent.start();
    CMsgTimer::CTimerData(&silent, CTimer::TIMER_STATUS_COMPLETE, 1).handleMessage();
    EXPECT_TRUE(silent.isRunning()) << "a completion nobody heard ended the timer";
    silent.stop();
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
    g_uiFakeNow.store(150);
    CMsgTimer::CTimerData(pTimer, CTimer::TIMER_STATUS_COMPLETE, 2).handleMessage();
    EXPECT_EQ(m_listener.completeCount(), 1u);
    EXPECT_EQ(pTimer->isRunning() + pTimer->getCurrentCount(), 0u);
    delete pTimer;
    g_uiFakeNow.store(1000);
    ASSERT_TRUE(settle(3, true));
    EXPECT_EQ(m_listener.m_events.size(), 2u);

    // Left in the manager, an ended timer goes at the next check; then the
    // worker sleeps (allowing a check in progress and one more).
    CTimer ended(100, 2);
    listenAndStart(ended, m_listener);
    CMsgTimer::CTimerData(&ended, CTimer::TIMER_STATUS_COMPLETE, 2).handleMessage();
    ASSERT_TRUE(waitForChecks(0));
    const unsigned int uiReads = g_uiClockReads.load();
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_LE(g_uiClockReads.load() - uiReads, 2u) << "the ended timer is still checked";
}

// A listener may delete its timer from the completion callback: the delivery
// must not touch it after (the sanitizer build reports it).
TEST_F(CMsgTimerDelivery, ListenerMayDeleteItsTimerOnCompletion)
{
    struct CDeletingListener : public CRecordingListener
    {
        void onTimerComplete(const CTimer* pTimer) override
        {
            CRecordingListener::onTimerComplete(pTimer);
            delete const_cast<CTimer*>(pTimer);
        }
    } listener;
    CTimer* pDoomed = new CTimer(10, 1);
    listenAndStart(*pDoomed, listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(pumpUntil([&] { return listener.completeCount() == 1; }));
}

} // namespace

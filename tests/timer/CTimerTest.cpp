#include "timer/TimerTestSupport.h"

using namespace Trell;
using namespace TimerTest;

namespace {

using CTimerTest = CTimerFixture;
using Counts = std::vector<unsigned int>;

// ---- counted timers ------------------------------------------------------

TEST_F(CTimerTest, RepeatCountThreeReportsCountsOneAndTwoThenCompletes)
{
    CTimer timer(100, 3);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(99); // not due one millisecond early
    ASSERT_TRUE(settle(2));
    EXPECT_TRUE(m_listener.m_events.empty());
    for (unsigned int i = 1; i <= 3; ++i) {
        EXPECT_TRUE(timer.isRunning());
        g_uiFakeNow.store(100 * i);
        ASSERT_TRUE(pumpUntil([&] { return m_listener.m_events.size() == i; }));
    }
    EXPECT_EQ(m_listener.counts(&timer), (Counts{1, 2}));
    EXPECT_TRUE(m_listener.m_events[2].bComplete);
    EXPECT_EQ(m_listener.m_events[2].pTimer, &timer);
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.getCurrentCount(), 0u);
}

// The same on the real tick clock: only order and "never early" are checked
// (the tick clock counts whole milliseconds: one of rounding is allowed).
TEST_F(CTimerTest, RepeatCountThreeOnTheTickClockIsNeverEarly)
{
    TickClock::setSource(nullptr);
    CTimer timer(100, 3);
    const auto started = std::chrono::steady_clock::now();
    listenAndStart(timer, m_listener);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.completeCount() == 1; }));
    ASSERT_EQ(m_listener.m_events.size(), 3u);
    EXPECT_EQ(m_listener.counts(&timer), (Counts{1, 2}));
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_GE(m_listener.m_events[i].time - started, std::chrono::milliseconds(100 * (i + 1) - 1)) << i;
}

// A counted timer without listener ends at its last check while its
// completion record is still queued; deleting it then must purge the record.
TEST_F(CTimerTest, CompletionOfATimerWithoutListenerEndsItAtTheCheck)
{
    CTimer timer(50, 2);
    timer.start();
    g_uiFakeNow.store(100);
    // The pulse of count 1 and the completion come in consecutive checks.
    ASSERT_TRUE(waitUntil([&] { return !timer.isRunning(); })) << "timer without listener kept running";
    // A stopped timer can start again at once.
    timer.start();
    EXPECT_TRUE(timer.isRunning());
    timer.stop();
    pumpMessages();

    CTimer* pTimer = new CTimer(10, 1);
    pTimer->start();
    g_uiFakeNow.store(110);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    EXPECT_FALSE(pTimer->isRunning());
    delete pTimer;
    EXPECT_EQ(queuedTimerMessages(), 0u);
}

// Repeat count 1: one completion, no pulse; start is ignored while the
// completion is on its way.
TEST_F(CTimerTest, RepeatCountOneOnlyCompletesAndIgnoresStartMeanwhile)
{
    CTimer timer(10, 1);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(9);
    ASSERT_TRUE(settle(2));
    EXPECT_TRUE(m_listener.m_events.empty());
    g_uiFakeNow.store(10);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    // Completing: out of the manager but still marked running, so start does nothing.
    EXPECT_TRUE(timer.isRunning());
    timer.start();
    // A start that took effect would have zeroed the count.
    EXPECT_EQ(timer.getCurrentCount(), 1u);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.completeCount() == 1; }));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(timer.getCurrentCount(), 0u);
    EXPECT_EQ(m_listener.pulseCount(), 0u);

    // After delivery it starts normally.
    timer.start();
    g_uiFakeNow.store(20);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.completeCount() == 2; }));
}

// setRepeatCount restarts the count at 0 on the old schedule: the counts due
// by now come again at once, up to the new end (count 2 of 2 completes).
TEST_F(CTimerTest, SetRepeatCountRestartsTheCountButNotTheSchedule)
{
    struct
    {
        unsigned int delay, repeat, now, newRepeat;
        Counts expected;
        unsigned int completes;
    } const cases[] = {{10, 5, 30, 2, {1, 2, 3, 1}, 1}, {100, 0, 300, 0, {1, 2, 3, 1, 2, 3}, 0}};
    for (const auto& c : cases) {
        CRecordingListener listener;
        g_uiFakeNow.store(0);
        CTimer timer(c.delay, c.repeat);
        listenAndStart(timer, listener);
        g_uiFakeNow.store(c.now);
        ASSERT_TRUE(pumpUntil([&] { return listener.pulseCount() == 3; }));
        timer.setRepeatCount(c.newRepeat);
        EXPECT_EQ(timer.getCurrentCount(), 0u);
        ASSERT_TRUE(pumpUntil([&] { return listener.m_events.size() == c.expected.size() + c.completes; }));
        ASSERT_TRUE(settle(3, true));
        EXPECT_EQ(listener.counts(&timer), c.expected) << "repeat " << c.repeat;
        EXPECT_EQ(listener.completeCount(), c.completes);
        EXPECT_EQ(timer.isRunning(), c.completes == 0);
    }
}

// ---- endless timers and catching up ----------------------------------------

TEST_F(CTimerTest, EndlessTimerCatchesUpOnePulsePerCheckAfterAStall)
{
    CTimer timer(100, 0);
    listenAndStart(timer, m_listener);

    // Ten pulses fall due at once, as after a stall of the timer thread.
    const unsigned int uiReadsBefore = g_uiClockReads.load();
    g_uiFakeNow.store(1000);
    ASSERT_TRUE(settle());
    const unsigned int uiChecksSoFar = g_uiClockReads.load() - uiReadsBefore;
    const unsigned int uiDelivered = m_listener.pulseCount();
    EXPECT_GE(uiDelivered, 3u);
    EXPECT_LE(uiDelivered, uiChecksSoFar) << "more pulses than checks: several pulses in one check";

    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() >= 10; }));
    // Caught up: with the clock standing still nothing more is due.
    ASSERT_TRUE(settle());
    EXPECT_EQ(m_listener.counts(&timer), (Counts{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(timer.getCurrentCount(), 10u);

    // Counts keep growing without bound.
    g_uiFakeNow.store(1100);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 11; }));
    EXPECT_EQ(m_listener.m_events.back().uiCount, 11u);
    EXPECT_EQ(m_listener.completeCount(), 0u);
}

// ---- start, reset, stop ------------------------------------------------------

// The schedule is anchored at the start: a second start and a new delay
// keep it, reset restarts it.
TEST_F(CTimerTest, StartAndSetDelayKeepTheScheduleResetRestartsIt)
{
    CTimer timer(100, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(60);
    timer.start();
    // Due at 100 from the first start (a restart would move it to 160).
    g_uiFakeNow.store(100);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; })) << "start restarted the schedule";
    // Pulse 2 of a 50 ms schedule that began at 0 is due at 100: at once.
    timer.setDelay(50);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 2; }));
    ASSERT_TRUE(settle());
    EXPECT_EQ(m_listener.pulseCount(), 2u);

    g_uiFakeNow.store(140);
    timer.reset();
    EXPECT_EQ(timer.getCurrentCount(), 0u);
    EXPECT_TRUE(timer.isRunning());
    // Pulse 3 of the old schedule (at 150) must not come...
    g_uiFakeNow.store(189);
    ASSERT_TRUE(settle());
    EXPECT_EQ(m_listener.pulseCount(), 2u);
    // ...pulse 1 of the new one comes at 190.
    g_uiFakeNow.store(190);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 3; }));
    EXPECT_EQ(m_listener.m_events.back().uiCount, 1u);
}

// Records of several timers share one message: stopping or deleting one
// purges its records from the queue (the emptied message too, when the last
// goes), and a message already popped skips it.
TEST_F(CTimerTest, StopOrDeleteBeforeDeliveryPurgesOnlyThatTimersRecords)
{
    CTimer stopped(10, 0), kept(10, 0);
    CTimer* pDeleted = new CTimer(10, 0);
    listenAndStart(stopped, m_listener);
    listenAndStart(kept, m_listener);
    listenAndStart(*pDeleted, m_listener);
    g_uiFakeNow.store(10);
    CObjectPtr<CBaseMessage> pPopped = popQueuedTimerMessage();
    ASSERT_TRUE(pPopped);
    g_uiFakeNow.store(20);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    stopped.stop();
    EXPECT_FALSE(stopped.isRunning());
    EXPECT_EQ(stopped.getCurrentCount(), 0u);
    delete pDeleted;
    pPopped->handleMessage();
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount(&kept) == 2; }));
    EXPECT_EQ(m_listener.m_events.size(), 2u) << "a stopped or deleted timer was called back";

    g_uiFakeNow.store(30);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    kept.stop();
    EXPECT_EQ(queuedTimerMessages(), 0u);
}

TEST_F(CTimerTest, StopAfterThePopDeliversNothingAndIsForgottenAfterwards)
{
    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(10);
    // The main loop has taken the message off the queue when the timer stops.
    CObjectPtr<CBaseMessage> pMessage = popQueuedTimerMessage();
    ASSERT_TRUE(pMessage);
    timer.stop();
    pMessage->handleMessage();
    EXPECT_TRUE(m_listener.m_events.empty());

    // Handling forgot the stop: the restarted timer is delivered normally.
    EXPECT_FALSE(CTimerManager::getInstance()->checkIsDeletedTimer(timer.getID()));
    timer.start();
    g_uiFakeNow.store(20);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));

    // Stopped and restarted before the popped message is handled: the
    // restart lifts the stop.
    g_uiFakeNow.store(30);
    pMessage = popQueuedTimerMessage();
    ASSERT_TRUE(pMessage);
    timer.stop();
    timer.start();
    pMessage->handleMessage();
    EXPECT_EQ(m_listener.pulseCount(), 2u) << "the restart did not lift the stop";
}

// A listener may stop the other timer of the same message, and delete its
// timer from the completion callback: the delivery touches neither after.
TEST_F(CTimerTest, ListenerMayStopAnotherTimerOrDeleteItsOwn)
{
    struct CMeddlingListener : public CRecordingListener
    {
        void onTimer(const CTimer* pTimer, unsigned int uiCount) override
        {
            CRecordingListener::onTimer(pTimer, uiCount);
            pOther->stop();
        }
        void onTimerComplete(const CTimer* pTimer) override
        {
            CRecordingListener::onTimerComplete(pTimer);
            delete const_cast<CTimer*>(pTimer);
        }
        CTimer* pOther = nullptr;
    } listener;
    CTimer first(10, 0), second(10, 0);
    CTimer* pDoomed = new CTimer(10, 1);
    listener.pOther = &second;
    listenAndStart(first, listener);
    listenAndStart(second, m_listener);
    listenAndStart(*pDoomed, listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(pumpUntil([&] { return listener.completeCount() == 1; }));
    first.stop();
    EXPECT_EQ(listener.pulseCount(&first), 1u);
    EXPECT_TRUE(m_listener.m_events.empty());
}

// A copy keeps the settings but neither runs nor is checked: the manager
// holds timers by address.
TEST_F(CTimerTest, CopyKeepsTheSettingsButNotTheRun)
{
    CTimer timer(10, 3);
    listenAndStart(timer, m_listener);
    struct CTimerCopy : public CTimer
    {
        explicit CTimerCopy(const CTimer& other) : CTimer(other) {}
    } copy(timer);
    EXPECT_FALSE(copy.isRunning());
    EXPECT_EQ(copy.getDelay() * 10 + copy.getRepeatCount(), 103u);
    EXPECT_EQ(copy.getListener(), &m_listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; }));
    ASSERT_TRUE(settle());
    EXPECT_EQ(m_listener.pulseCount(&copy), 0u);
}

// ---- one check, one message ---------------------------------------------------

TEST_F(CTimerTest, TimersDueInOneCheckArriveInOneMessageInTheOrderTheyWereAdded)
{
    CTimer first(100, 0);
    CTimer second(100, 0);
    CTimer third(100, 2);
    // Added in the order second, third, first.
    listenAndStart(second, m_listener);
    listenAndStart(third, m_listener);
    listenAndStart(first, m_listener);

    g_uiFakeNow.store(100);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    ASSERT_TRUE(waitForChecks(2));
    EXPECT_EQ(queuedTimerMessages(), 1u);
    CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage();
    ASSERT_TRUE(pMessage);
    ASSERT_EQ(pMessage->getType(), CBaseMessage::MESSAGE_TYPE_TIMER);
    const CMsgTimer* pTimerMessage = static_cast<CMsgTimer*>(pMessage.get());
    const std::vector<const CTimer*> expected = {&second, &third, &first};
    std::vector<const CTimer*> inMessage, delivered;
    for (unsigned int i = 0; i < pTimerMessage->getDataCount(); ++i)
        inMessage.push_back(pTimerMessage->getDataAt(i)->getTimer());
    EXPECT_EQ(inMessage, expected);

    pMessage->handleMessage();
    for (const tagEvent& event : m_listener.m_events)
        delivered.push_back(event.pTimer);
    EXPECT_EQ(delivered, expected);
}

TEST_F(CTimerTest, UnhandledChecksMergeIntoOneMessage)
{
    CTimer timer(10, 0);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(50);
    // Five checks with nobody popping leave one message with counts 1..5.
    ASSERT_TRUE(waitUntil([&] { return timer.getCurrentCount() == 5; }));
    EXPECT_EQ(queuedTimerMessages(), 1u);
    EXPECT_EQ(pumpMessages(), 1u);
    EXPECT_EQ(m_listener.counts(&timer), (Counts{1, 2, 3, 4, 5}));
}

} // namespace

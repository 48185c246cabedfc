#include "timer/TimerTestSupport.h"

using namespace Trell;
using namespace TimerTest;

namespace {

using CTimerTest = CTimerFixture;
using Counts = std::vector<unsigned int>;

// ---- counted timers ------------------------------------------------------

// A counted timer without listener ends at its last check (no delivery
// ends it), and can start again at once.
TEST_F(CTimerTest, RepeatCountThreeReportsCountsOneAndTwoThenCompletes)
{
    CTimer silent(50, 2), timer(100, 3);
    silent.start();
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
    EXPECT_TRUE(m_listener.m_events[2].bComplete && m_listener.m_events[2].pTimer == &timer);
    EXPECT_FALSE(timer.isRunning() || silent.isRunning());
    EXPECT_EQ(timer.getCurrentCount(), 0u);
    silent.start();
    EXPECT_TRUE(silent.isRunning());
}

// Repeat count 1: one completion, no pulse; start is ignored while the
// completion is on its way (out of the manager but still marked running).
TEST_F(CTimerTest, RepeatCountOneOnlyCompletesAndIgnoresStartMeanwhile)
{
    CTimer timer(10, 1);
    listenAndStart(timer, m_listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    // Past the next due time, with a sentinel keeping the worker checking: a
    // completed timer still checked would end here, before its delivery.
    g_uiFakeNow.store(30);
    CTimer sentinel(0, 0);
    sentinel.start();
    ASSERT_TRUE(waitForChecks(2));
    sentinel.stop();
    EXPECT_TRUE(timer.isRunning());
    timer.start();
    EXPECT_EQ(timer.getCurrentCount(), 1u) << "a start that took effect zeroes the count";
    ASSERT_TRUE(pumpUntil([&] { return m_listener.completeCount() == 1; }));
    EXPECT_FALSE(timer.isRunning());
    EXPECT_EQ(m_listener.pulseCount(), 0u);
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
    EXPECT_GE(m_listener.pulseCount(), 3u);
    EXPECT_LE(m_listener.pulseCount(), g_uiClockReads.load() - uiReadsBefore) << "several pulses in one check";
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() >= 10; }));
    ASSERT_TRUE(settle()); // caught up: with the clock standing still nothing more is due
    EXPECT_EQ(m_listener.counts(&timer), (Counts{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
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
    g_uiFakeNow.store(100); // due from the first start, not at 160
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 1; })) << "start restarted the schedule";
    // Pulse 2 of a 50 ms schedule that began at 0 is due at 100: at once.
    timer.setDelay(50);
    ASSERT_TRUE(pumpUntil([&] { return m_listener.pulseCount() == 2; }));
    g_uiFakeNow.store(140);
    timer.reset();
    EXPECT_EQ(timer.getCurrentCount(), 0u);
    EXPECT_TRUE(timer.isRunning());
    // Pulse 3 of the old schedule (at 150) must not come, pulse 1 of the new one comes at 190.
    g_uiFakeNow.store(189);
    ASSERT_TRUE(settle());
    EXPECT_EQ(m_listener.pulseCount(), 2u);
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
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    CObjectPtr<CBaseMessage> pPopped = CMessageCenter::getInstance()->popMessage(); // as the main loop would
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

// ---- one check, one message ---------------------------------------------------

// A copy keeps the settings but is not checked (the manager holds timers by
// address); timers due in one check arrive in one message, in the order
// they were added, and unhandled checks merge into that message.
TEST_F(CTimerTest, TimersDueInOneCheckArriveInOneMessageInTheOrderTheyWereAdded)
{
    CTimer first(100, 0), second(100, 0), third(100, 2);
    listenAndStart(second, m_listener);
    listenAndStart(third, m_listener);
    listenAndStart(first, m_listener);
    struct CTimerCopy : public CTimer
    {
        explicit CTimerCopy(const CTimer& other) : CTimer(other) {}
        void assign(const CTimer& other) { CTimer::operator=(other); }
    } copy(third);
    EXPECT_FALSE(copy.isRunning());
    EXPECT_EQ(copy.getDelay() * 10 + copy.getRepeatCount() + (copy.getListener() == &m_listener), 1003u);
    copy.assign(CTimer(5, 7));
    EXPECT_EQ(copy.getDelay() * 10 + copy.getRepeatCount() + (copy.getListener() == nullptr), 58u);
    g_uiFakeNow.store(100);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    g_uiFakeNow.store(200);
    ASSERT_TRUE(waitUntil([&] { return first.getCurrentCount() == 2; }));
    ASSERT_TRUE(waitForChecks(2));
    EXPECT_EQ(pumpMessages(), 1u);
    std::vector<const CTimer*> delivered;
    for (const tagEvent& event : m_listener.m_events)
        delivered.push_back(event.pTimer);
    EXPECT_EQ(delivered, (std::vector<const CTimer*>{&second, &third, &first, &second, &third, &first}));
    EXPECT_EQ(m_listener.counts(&second), (Counts{1, 2}));
    EXPECT_EQ(m_listener.completeCount(), 1u);
}

} // namespace

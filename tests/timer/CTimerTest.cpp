#include "timer/TimerTestSupport.h"

using namespace Trell;
using namespace TimerTest;

namespace {

using CTimerTest = CTimerFixture;
using Counts = std::vector<unsigned int>;

// What the listener heard and where the timer stands: "1,2,C|s" is pulses
// 1 and 2, then the completion, and a stopped timer; "|r2" a running timer
// at count 2.
std::string heard(const CRecordingListener& listener, const CTimer& timer)
{
    std::string out;
    for (unsigned int uiCount : listener.counts(&timer))
        out += (out.empty() ? "" : ",") + (uiCount ? std::to_string(uiCount) : std::string("C"));
    return out + (timer.isRunning() ? "|r" + std::to_string(timer.getCurrentCount()) : "|s");
}

// Scripted timers: at each step the clock moves, an operation runs ('s'
// start, 'r' reset, 'd' setDelay(50), 'c' a completion delivered, '2' and
// '0' setRepeatCount), and then what was heard must become the step's text
// and stay so over more checks; every check adds at most one pulse of a
// timer. A timer that ended leaves the worker asleep.
TEST_F(CTimerTest, ScheduleCountsAndCompletion)
{
    struct tagStep
    {
        unsigned int now;
        char op;
        const char* expected;
    };
    struct
    {
        unsigned int delay, repeat;
        bool listened;
        std::vector<tagStep> steps;
    } const cases[] = {
        // Not due a millisecond early; counts below the repeat count, then the completion ends it.
        {100, 3, true, {{99, 0, "|r0"}, {100, 0, "1|r1"}, {200, 0, "1,2|r2"}, {300, 0, "1,2,C|s"}}},
        // Without listener it ends at its last check (no delivery ends it), and starts again at once.
        {50, 2, false, {{100, 0, "|s"}, {100, 's', "|r0"}}},
        // A completion delivered while the timer is still checked ends it.
        {100, 0, true, {{100, 0, "1|r1"}, {100, 'c', "1,C|s"}}},
        // Anchored at the first start: a second start and a new delay keep the schedule, reset restarts it.
        {100, 0, true, {{60, 's', "|r0"}, {100, 0, "1|r1"}, {100, 'd', "1,2|r2"}, {140, 'r', "1,2|r0"}}},
        {100, 0, true, {{100, 0, "1|r1"}, {140, 'r', "1|r0"}, {239, 0, "1|r0"}, {240, 0, "1,1|r1"}}},
        // setRepeatCount restarts the count on the old schedule: the counts due by now come again at once,
        // up to the new end.
        {10, 5, true, {{30, 0, "1,2,3|r3"}, {30, '2', "1,2,3,1,C|s"}}},
        {100, 0, true, {{300, 0, "1,2,3|r3"}, {300, '0', "1,2,3,1,2,3|r3"}}},
        // Catching up after a stall of the timer thread, one pulse per check, and then nothing more.
        {100, 0, true, {{1000, 0, "1,2,3,4,5,6,7,8,9,10|r10"}}},
    };
    for (const auto& c : cases) {
        CRecordingListener listener;
        g_uiFakeNow.store(0);
        CTimer timer(c.delay, c.repeat);
        timer.setListener(c.listened ? &listener : nullptr);
        timer.start();
        for (const tagStep& step : c.steps) {
            const size_t uiHeardBefore = listener.m_events.size();
            const unsigned int uiReadsBefore = g_uiClockReads.load();
            g_uiFakeNow.store(step.now);
            if (step.op == 's')
                timer.start();
            else if (step.op == 'r')
                timer.reset();
            else if (step.op == 'd')
                timer.setDelay(50);
            else if (step.op == 'c')
                CMsgTimer::CTimerData(&timer, CTimer::TIMER_STATUS_COMPLETE, 0).handleMessage();
            else if (step.op)
                timer.setRepeatCount(unsigned(step.op - '0'));
            EXPECT_TRUE(pumpUntil([&] { return heard(listener, timer) == step.expected; }));
            ASSERT_TRUE(settle(3, true));
            ASSERT_EQ(heard(listener, timer), step.expected) << "delay " << c.delay << " at " << step.now;
            EXPECT_LE(listener.m_events.size() - uiHeardBefore, g_uiClockReads.load() - uiReadsBefore)
                << "several pulses in one check";
        }
        // An ended timer leaves the manager at the next check: then the worker
        // sleeps (allowing a check in progress and one more).
        const unsigned int uiReads = g_uiClockReads.load();
        std::this_thread::sleep_for(std::chrono::milliseconds(timer.isRunning() ? 0 : 150));
        EXPECT_LE(g_uiClockReads.load() - uiReads, 2u) << "an ended timer is still checked";
    }
}

// Records of several timers share one message: stopping or deleting one
// purges its records from the queue (the emptied message too, when the last
// goes), and a message already popped skips it.
TEST_F(CTimerTest, StopOrDeleteBeforeDeliveryPurgesOnlyThatTimersRecords)
{
    CTimer stopped(10, 0), kept(10, 0);
    CTimer* pDeleted = new CTimer(10, 0);
    for (CTimer* pTimer : {&stopped, &kept, pDeleted})
        listenAndStart(*pTimer, m_listener);
    g_uiFakeNow.store(10);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    CObjectPtr<CBaseMessage> pPopped = CMessageCenter::getInstance()->popMessage(); // as the main loop would
    struct CMsgTimerCopy : public CMsgTimer
    {
        void assign(const CMsgTimer& other) { CMsgTimer::operator=(other); }
    } copy;
    copy.assign(static_cast<const CMsgTimer&>(*pPopped));
    copy.margeDataFrom(nullptr);
    copy.margeDataFrom(&copy);
    EXPECT_EQ(copy.getDataCount(), 3u) << "an assigned timer message lacks the records";
    g_uiFakeNow.store(20);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    stopped.stop();
    EXPECT_EQ(stopped.isRunning() + stopped.getCurrentCount(), 0u);
    delete pDeleted;
    pPopped->handleMessage();
    ASSERT_TRUE(pumpUntil([&] { return m_listener.counts(&kept).size() == 2; }));
    EXPECT_EQ(m_listener.m_events.size(), 2u) << "a stopped or deleted timer was called back";
    // Skipped once, then forgotten.
    EXPECT_FALSE(CTimerManager::getInstance()->checkIsDeletedTimer(stopped.getID()));
    g_uiFakeNow.store(30);
    ASSERT_TRUE(waitUntil([] { return queuedTimerMessages() == 1; }));
    kept.stop();
    EXPECT_EQ(queuedTimerMessages(), 0u);
}

// A copy keeps the settings but is not checked (the manager holds timers by
// address); timers due in one check arrive in one message, in the order
// they were added (once each, even when added twice), and unhandled checks
// merge into that message. A completed timer leaves the manager but stays
// running until its completion is delivered.
TEST_F(CTimerTest, TimersDueInOneCheckArriveInOneMessageInTheOrderTheyWereAdded)
{
    CTimer first(100, 0), second(100, 0), third(100, 2);
    for (CTimer* pTimer : {&second, &third, &first})
        listenAndStart(*pTimer, m_listener);
    CTimerManager::getInstance()->addTimer(&second);
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
    // Two checks fall due at once; the second passes the completed timer's
    // next due time.
    g_uiFakeNow.store(300);
    ASSERT_TRUE(waitUntil([&] { return first.getCurrentCount() == 3; }));
    ASSERT_TRUE(waitForChecks(2));
    EXPECT_TRUE(third.isRunning()) << "a completed timer was checked again before its delivery";
    EXPECT_EQ(pumpMessages(), 1u);
    std::vector<const CTimer*> delivered;
    for (const tagEvent& event : m_listener.m_events)
        delivered.push_back(event.first);
    EXPECT_EQ(delivered,
              (std::vector<const CTimer*>{&second, &third, &first, &second, &third, &first, &second, &first}));
    EXPECT_EQ(m_listener.counts(&third), (Counts{1, 0}));
}

// A listener may delete its timer from the completion callback: the delivery
// must not touch it after, nor may the worker check it again (the sanitizer
// build reports either).
TEST_F(CTimerTest, ListenerMayDeleteItsTimerOnCompletion)
{
    m_listener.m_bDeleteOnCompletion = true;
    CTimer* pDoomed = new CTimer(10, 2);
    listenAndStart(*pDoomed, m_listener);
    CMsgTimer::CTimerData(pDoomed, CTimer::TIMER_STATUS_COMPLETE, 2).handleMessage();
    g_uiFakeNow.store(1000);
    ASSERT_TRUE(settle(3, true));
    EXPECT_EQ(m_listener.m_events.size(), 1u);
}

} // namespace

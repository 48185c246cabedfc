#pragma once

// Shared pieces of the timer tests: a clock the test drives, a listener that
// records what it hears, and a main loop that pops and handles messages on
// the test thread, as the host's main loop does.

#include <message/CMessageCenter.h>
#include <timer/CMsgTimer.h>
#include <timer/CTimerManager.h>

#include "message/TickClock.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace TimerTest {

using namespace Trell;

// Milliseconds the fake clock shows, and how often anyone read it. Once the
// test thread has started its timers, every read comes from a check of the
// timer thread, so the read count counts checks.
inline std::atomic<unsigned int> g_uiFakeNow{0};
inline std::atomic<unsigned int> g_uiClockReads{0};

inline unsigned int fakeClock()
{
    g_uiClockReads.fetch_add(1);
    return g_uiFakeNow.load();
}

// The timer and a pulse's count, or 0 for the completion (pulses count from 1).
using tagEvent = std::pair<const CTimer*, unsigned int>;

// Runs on the test thread only (it pumps the messages), so no lock.
class CRecordingListener : public ITimerListener
{
public:
    void onTimer(const CTimer* pTimer, unsigned int uiCount) override { m_events.push_back({pTimer, uiCount}); }
    void onTimerComplete(const CTimer* pTimer) override
    {
        m_events.push_back({pTimer, 0});
        if (m_bDeleteOnCompletion)
            delete pTimer;
    }
    // What one timer heard, in delivery order.
    std::vector<unsigned int> counts(const CTimer* pTimer) const
    {
        std::vector<unsigned int> result;
        for (const tagEvent& e : m_events) {
            if (e.first == pTimer)
                result.push_back(e.second);
        }
        return result;
    }

    std::vector<tagEvent> m_events;
    bool m_bDeleteOnCompletion = false;
};

// Pops and handles everything queued now; returns the number of messages.
inline unsigned int pumpMessages()
{
    unsigned int n = 0;
    for (; CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage(); ++n)
        pMessage->handleMessage();
    return n;
}

// Runs the main loop until the condition holds; false when the deadline passes.
template <class TCondition>
bool pumpUntil(TCondition condition)
{
    return waitUntil([&] { return pumpMessages(), condition(); });
}

// Waits until the timer thread has completed at least uiChecks further
// checks (the read that starts check n + 1 follows the push of check n).
// Only meaningful while some timer keeps the worker checking.
inline bool waitForChecks(unsigned int uiChecks)
{
    const unsigned int uiStart = g_uiClockReads.load();
    return waitUntil([&] { return g_uiClockReads.load() >= uiStart + uiChecks + 1; });
}

inline unsigned int queuedTimerMessages()
{
    return CMessageCenter::getInstance()->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_TIMER);
}

// Lets a few more checks run (a sentinel timer keeps the worker checking
// when bSentinel), then delivers what they queued; false when they did not.
inline bool settle(unsigned int uiChecks = 3, bool bSentinel = false)
{
    CTimer sentinel(0, 0);
    if (bSentinel)
        sentinel.start();
    const bool bChecked = waitForChecks(uiChecks);
    sentinel.stop();
    pumpMessages();
    return bChecked;
}

inline void listenAndStart(CTimer& timer, ITimerListener& listener)
{
    timer.setListener(&listener);
    timer.start();
}

// Every test starts with a fresh center, a fresh, running manager and the
// fake clock at 0, and leaves nothing behind.
class CTimerFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g_uiFakeNow.store(0);
        g_uiClockReads.store(0);
        TickClock::setSource(&fakeClock);
        CMessageCenter::getInstance(); // made before the worker, which pushes to it
        CTimerManager::getInstance()->start();
    }
    // Deleting them stops the worker and frees what is still queued.
    void TearDown() override
    {
        CTimerManager::deleteInstance();
        CMessageCenter::deleteInstance();
        TickClock::setSource(nullptr);
    }

    // Outlives the test's timers, which the test body destroys first.
    CRecordingListener m_listener;
};

} // namespace TimerTest

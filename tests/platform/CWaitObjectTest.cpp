#include <platform/CWaitObject.h>
#include <text/CString.h>

#include "Reaper.h"
#include "support/ThreadState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

using namespace Trell;
using Clock = std::chrono::steady_clock;

namespace {

// A wait that was not signalled lasts at least its timeout; a signalled
// event makes it return at once. This lower bound is what tells the two
// apart (a slow machine only lengthens it).
bool waitTimesOut(CWaitObject& event, unsigned int uiMilliseconds)
{
    const auto start = Clock::now();
    event.forceWait(uiMilliseconds);
    return Clock::now() - start >= std::chrono::milliseconds(uiMilliseconds - 5);
}

} // namespace

// Each row leaves an unnamed event unsignalled: a wait on it then lasts its
// whole timeout. A wait that blocks for good is caught by the reaper.
TEST(CWaitObject, ConsumedOrClearedSignalLeavesTheEventUnsignalled)
{
    CReaper reaper("pending signals");
    // What the row shows, and its steps.
    const std::pair<const char*, void (*)(CWaitObject&)> rows[] = {
        {"a notify before the wait is remembered, two count as one",
         [](CWaitObject& e) { e.notify(), e.notify(), e.wait(0); }},
        {"forceWait(0) polls without blocking and consumes",
         [](CWaitObject& e) { e.forceWait(0), e.notify(), e.forceWait(0); }},
        {"a timed wait ends; a signalled wait resets", [](CWaitObject& e) { e.wait(30), e.notify(), e.wait(1000); }},
        {"reset clears a pending signal", [](CWaitObject& e) { e.notify(), e.reset(); }},
    };
    for (const auto& [pszWhat, steps] : rows) {
        CWaitObject event(STRING_NULL);
        steps(event);
        EXPECT_TRUE(waitTimesOut(event, 50)) << pszWhat;
    }
}

// wait(0) blocks until notified (a waiter that returned early is not found
// asleep), and one notify releases every waiter.
TEST(CWaitObject, OneNotifyReleasesEveryWaiter)
{
    CReaper reaper("release all waiters");
    CWaitObject event(STRING_NULL);
    const int WAITERS = 4;
    std::vector<std::atomic<long>> tids(WAITERS);
    std::vector<std::thread> threads;
    for (int i = 0; i < WAITERS; ++i) {
        threads.emplace_back([&, i] {
            tids[i] = currentThreadId();
            event.wait(0);
        });
    }
    // All must be blocked in the wait before the single notify; check twice
    // in a row so that none is merely passing through the lock.
    auto allSleeping = [&] {
        return std::all_of(tids.begin(), tids.end(),
                           [](const std::atomic<long>& tid) { return tid != 0 && isThreadSleeping(tid); });
    };
    ASSERT_TRUE(waitUntil([&] {
        if (!allSleeping())
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return allSleeping();
    }));
    event.notify();
    for (std::thread& thread : threads)
        thread.join();
    // The first waiter to return reset it.
    EXPECT_TRUE(waitTimesOut(event, 30));
}

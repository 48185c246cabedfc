#include <platform/CThread.h>
#include <platform/CWaitObject.h>
#include <text/CString.h>

#include "Reaper.h"
#include "support/ChildProcess.h"
#include "support/ThreadState.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <utility>

#include <cerrno>
#ifndef _WIN32
#include <sys/resource.h>
#include <unistd.h>
#else
#include <windows.h>
#endif

using namespace Trell;

namespace {

// A worker that follows the library's run pattern: one pass, then sleep on
// the wake event until a stop request.
class CWorker : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CWorker")
public:
    CWorker() : started(STRING_NULL) {}
    ~CWorker() override { stopThread(); }

    void notifyThreadStarted(unsigned int uiThreadID) override
    {
        record("started");
        CThread::notifyThreadStarted(uiThreadID);
    }
    void notifyThreadStopped() override
    {
        record("stopped");
        CThread::notifyThreadStopped();
    }
    void run() override
    {
        record("run");
        idSeenInRun = getThreadID();
        ++runs;
        started.notify();
        while (!isPrepareStopThread())
            m_waitWake.wait(0);
    }
    void record(const char* pszWhat)
    {
        std::lock_guard<std::mutex> lock(mutex);
        events += std::string(events.empty() ? "" : ",") + pszWhat;
    }

    CWaitObject started;
    std::atomic<int> runs{0};
    std::atomic<unsigned int> idSeenInRun{0};
    std::mutex mutex;
    std::string events; // read once the thread is stopped
};

// A worker whose run waits once on the wake event without limit and ends.
class CWakeOnce : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CWakeOnce")
public:
    void run() override
    {
        m_waitWake.wait(0);
        sawStopFlag = isPrepareStopThread();
    }
    std::atomic<bool> sawStopFlag{true};
};

// Records the nice value the worker runs at.
class CNiceProbe : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CNiceProbe")
public:
    void run() override
    {
#ifdef _WIN32
        // The priority is set once the thread exists; the test signals then.
        m_waitSignal.wait(0);
        nice = GetThreadPriority(GetCurrentThread());
#else
        errno = 0;
        nice = getpriority(PRIO_PROCESS, static_cast<id_t>(currentThreadId()));
#endif
    }
    void releaseRun()
    {
        m_waitSignal.notify();
    }
    std::atomic<int> nice{1000};
};

} // namespace

// Each start runs once, in order, on a thread of its own, and its start and
// exit are logged with the thread's id and name; starts while it runs are
// ignored.
TEST(CThread, EveryStartRunsStartedRunStoppedOnceOnItsOwnThread)
{
    CReaper reaper("start and stop cycles");
    CLogRecorder log;
    CWorker worker;
    worker.setThreadName(CString(u"worker"));
    worker.stopThread(); // on an idle thread: returns at once
    worker.waitForThreadStop();
    for (int round = 1; round <= 3; ++round) {
        worker.startThread();
        worker.startThread();
        worker.started.wait(0);
        worker.startThread();
        const unsigned int uiId = worker.idSeenInRun.load();
        EXPECT_NE(uiId, static_cast<unsigned int>(currentThreadId()));
        EXPECT_EQ(worker.getThreadID(), uiId);
        EXPECT_FALSE(worker.isPrepareStopThread());
        worker.stopThread();
        EXPECT_EQ(worker.getThreadID(), 0u);
        EXPECT_EQ(worker.runs.load(), round) << "one run per start";
        const std::u16string strLine = u"Info|Thread (ID: " + ascii(std::to_string(uiId)) + u", Name: worker) ";
        EXPECT_EQ(log.take(), (std::vector<std::u16string>{strLine + u"starts.", strLine + u"exits."}));
    }
    EXPECT_EQ(worker.events, "started,run,stopped,started,run,stopped,started,run,stopped");
    EXPECT_TRUE(worker.isPrepareStopThread()) << "the stop request stays raised until the next start";
}

// A stop request during a run wakes it (every stopThread above relies on
// that). On an idle thread only the wake signal stays: run's first wait
// returns at once (the reaper would fire otherwise) and the start cleared the flag.
TEST(CThread, StopRequestBeforeARunWakesItOnce)
{
    CReaper reaper("wait for stop");
    CWakeOnce before;
    before.prepareStopThread();
    EXPECT_TRUE(before.isPrepareStopThread());
    before.startThread();
    before.waitForThreadStop();
    EXPECT_FALSE(before.sawStopFlag.load());
}

TEST(CThread, PriorityMapping)
{
    const std::pair<int, int> cases[] = {{50, 0},  {49, -2}, {3, -2}, {2, 2},  {1, 1},    {0, 0},
                                         {-1, -1}, {-2, -2}, {-3, 0}, {51, 2}, {1000, 2}, {-1000, 0}};
    for (const auto& [priority, system] : cases)
        EXPECT_EQ(CThread::toSystemPriority(priority), system) << "priority " << priority;
}

#ifdef _WIN32
TEST(CThread, PriorityIsTheSystemsOwnLevel)
{
    CReaper reaper("priority");
    const std::pair<int, int> cases[] = {{49, THREAD_PRIORITY_LOWEST},
                                         {50, THREAD_PRIORITY_NORMAL},
                                         {51, THREAD_PRIORITY_HIGHEST},
                                         {-1, THREAD_PRIORITY_BELOW_NORMAL}};
    for (const auto& [priority, level] : cases) {
        CNiceProbe probe;
        probe.setThreadPriority(priority);
        probe.startThread();
        probe.releaseRun();
        probe.waitForThreadStop();
        EXPECT_EQ(probe.nice.load(), level) << "priority " << priority;
    }
}
#else
TEST(CThread, LowestPriorityRunsAtAHigherNiceValue)
{
    CReaper reaper("priority");
    errno = 0;
    const int iBase = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    CNiceProbe lowest;
    lowest.setThreadPriority(49);
    lowest.startThread();
    lowest.waitForThreadStop();
    EXPECT_EQ(lowest.nice.load(), std::min(iBase + 10, 19));

    // The default (highest) must run whether or not raising is permitted.
    CNiceProbe highest;
    highest.startThread();
    highest.waitForThreadStop();
    EXPECT_LE(highest.nice.load(), iBase);
}
#endif

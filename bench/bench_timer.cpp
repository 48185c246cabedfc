// Timer accuracy beside its physical limit, in one program so that every
// figure is a ratio measured in the same run.
//
//   SleepLoop    - a plain loop of 10 ms sleeps: the period a thread that
//                  wakes every 10 ms can keep (the peer);
//   NaiveTimer   - a timer made of successive sleeps of the delay: what an
//                  unanchored schedule does (drifts by every overshoot);
//   TimerManager - an endless CTimer through the timer thread and the
//                  message center, handled on this thread as a main loop
//                  would: lateness of each pulse against n x delay after
//                  start, the drift, and the timer thread's check period.
//
// Flags (before the benchmark's own): --pulses=N (default 20),
// --delay=MS (default 100), --sleeps=N sleep-loop iterations (default 300).
// The goal: pulse n no later than n x delay + one check period + 2 ms at
// p99 (goal_met with the nominal 10 ms, goal_met_measured with the check
// period's measured p99), and no drift (drift_ms_per_pulse, the slope of
// lateness over the pulse number, near 0).

#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <message/IMessageCenterListener.h>
#include <system/CTime.h>
#include <timer/CTimer.h>
#include <timer/CTimerManager.h>

#include "message/TickClock.h"

#include "BenchCommon.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

using namespace Trell;

namespace {

using Clock = std::chrono::steady_clock;

unsigned int g_uiPulses = 20;
unsigned int g_uiDelay = 100;
unsigned int g_uiSleeps = 300;

double toMs(Clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

struct tagStats
{
    double dMedian;
    double dP99;
    double dMax;
};

tagStats statsOf(std::vector<double> values)
{
    if (values.empty())
        return {0, 0, 0};
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    // Nearest rank: the smallest value with at least 99 % of the values at or below it.
    const size_t p99 = std::min(n - 1, static_cast<size_t>(std::ceil(0.99 * static_cast<double>(n))) - 1);
    const double median = n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    return {median, values[p99], values[n - 1]};
}

// Least-squares slope of lateness over the pulse number: ms gained per pulse.
double slopeOf(const std::vector<double>& values)
{
    const double n = static_cast<double>(values.size());
    if (values.size() < 2)
        return 0;
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        const double x = static_cast<double>(i + 1);
        sx += x;
        sy += values[i];
        sxx += x * x;
        sxy += x * values[i];
    }
    return (n * sxy - sx * sy) / (n * sxx - sx * sx);
}

void reportStats(benchmark::State& state, const char* pszPrefix, const tagStats& stats)
{
    state.counters[std::string(pszPrefix) + "_median_ms"] = stats.dMedian;
    state.counters[std::string(pszPrefix) + "_p99_ms"] = stats.dP99;
    state.counters[std::string(pszPrefix) + "_max_ms"] = stats.dMax;
}

// Filled by BM_SleepLoop, read by BM_TimerManager for the ratios.
tagStats g_sleepPeriod{0, 0, 0};

// --- SleepLoop --------------------------------------------------------------

void BM_SleepLoop(benchmark::State& state)
{
    std::vector<double> periods;
    for (auto _ : state) {
        periods.clear();
        periods.reserve(g_uiSleeps);
        Clock::time_point last = Clock::now();
        for (unsigned int i = 0; i < g_uiSleeps; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const Clock::time_point now = Clock::now();
            periods.push_back(toMs(now - last));
            last = now;
        }
    }
    g_sleepPeriod = statsOf(periods);
    reportStats(state, "period", g_sleepPeriod);
}
BENCHMARK(BM_SleepLoop)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// --- NaiveTimer ---------------------------------------------------------------

void BM_NaiveTimer(benchmark::State& state)
{
    std::vector<double> lateness;
    for (auto _ : state) {
        lateness.clear();
        const Clock::time_point start = Clock::now();
        for (unsigned int n = 1; n <= g_uiPulses; ++n) {
            std::this_thread::sleep_for(std::chrono::milliseconds(g_uiDelay));
            lateness.push_back(toMs(Clock::now() - (start + std::chrono::milliseconds(g_uiDelay) * n)));
        }
    }
    reportStats(state, "late", statsOf(lateness));
    state.counters["drift_ms_per_pulse"] = slopeOf(lateness);
    state.counters["drift_total_ms"] = lateness.empty() ? 0 : lateness.back() - lateness.front();
}
BENCHMARK(BM_NaiveTimer)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// --- TimerManager ----------------------------------------------------------------

// Timestamps of the clock reads of the timer thread: one per check.
constexpr unsigned int MAX_CHECKS = 1u << 20;
std::vector<Clock::time_point> g_checkTimes(0);
std::atomic<unsigned int> g_uiCheckCount{0};
std::atomic<bool> g_bRecordChecks{false};

unsigned int recordingClock()
{
    if (g_bRecordChecks.load()) {
        const unsigned int i = g_uiCheckCount.fetch_add(1);
        if (i < MAX_CHECKS)
            g_checkTimes[i] = Clock::now();
    }
    return CTime::getTickCount();
}

// Wakes the main loop when a message is pushed (timer thread), and records
// each pulse as the main loop delivers it.
class CBenchListener : public IMessageCenterListener, public ITimerListener
{
    // Both bases bring allocation operators; this one settles which.
    TRELL_DECLARE_ALLOCATOR(u"CBenchListener")

public:
    void onMessageAvailable() override
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bAvailable = true;
        }
        m_cv.notify_one();
    }

    void onTimer(const CTimer*, unsigned int uiCount) override { m_fires.push_back({uiCount, Clock::now()}); }

    void waitAvailable()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait_for(lock, std::chrono::seconds(1), [this] { return m_bAvailable; });
        m_bAvailable = false;
    }

    struct tagFire
    {
        unsigned int uiCount;
        Clock::time_point time;
    };
    std::vector<tagFire> m_fires;

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_bAvailable = false;
};

void BM_TimerManager(benchmark::State& state)
{
    std::vector<double> lateness;
    std::vector<double> checkPeriods;
    bool bCountsInOrder = true;
    for (auto _ : state) {
        g_checkTimes.assign(MAX_CHECKS, Clock::time_point());
        g_uiCheckCount.store(0);
        CBenchListener listener;
        CMessageCenter* pCenter = CMessageCenter::getInstance();
        pCenter->clearMessageList();
        pCenter->setListener(&listener);
        TickClock::setSource(&recordingClock);
        CTimerManager::getInstance()->start();

        CTimer timer(g_uiDelay, 0);
        timer.setListener(&listener);
        const Clock::time_point start = Clock::now();
        g_bRecordChecks.store(true);
        timer.start();
        while (listener.m_fires.size() < g_uiPulses) {
            listener.waitAvailable();
            for (;;) {
                CObjectPtr<CBaseMessage> pMessage = pCenter->popMessage();
                if (!pMessage)
                    break;
                pMessage->handleMessage();
            }
        }
        timer.stop();
        g_bRecordChecks.store(false);
        CTimerManager::getInstance()->stop();
        CTimerManager::deleteInstance();
        TickClock::setSource(nullptr);
        pCenter->setListener(nullptr);
        pCenter->clearMessageList();

        lateness.clear();
        for (unsigned int i = 0; i < g_uiPulses; ++i) {
            const auto& fire = listener.m_fires[i];
            bCountsInOrder = bCountsInOrder && fire.uiCount == i + 1;
            lateness.push_back(toMs(fire.time - (start + std::chrono::milliseconds(g_uiDelay) * fire.uiCount)));
        }
        const unsigned int uiChecks = std::min(g_uiCheckCount.load(), MAX_CHECKS);
        checkPeriods.clear();
        // The first read is the timer's own start (main thread), not a check.
        for (unsigned int i = 2; i < uiChecks; ++i)
            checkPeriods.push_back(toMs(g_checkTimes[i] - g_checkTimes[i - 1]));
    }

    const tagStats late = statsOf(lateness);
    const tagStats period = statsOf(checkPeriods);
    reportStats(state, "late", late);
    reportStats(state, "check", period);
    state.counters["drift_ms_per_pulse"] = slopeOf(lateness);
    state.counters["pulses"] = g_uiPulses;
    state.counters["counts_in_order"] = bCountsInOrder ? 1 : 0;
    // The goal: p99 lateness within one check interval (10 ms) + 2 ms.
    const double dBound = 10.0 + 2.0;
    state.counters["goal_met"] = late.dP99 <= dBound ? 1 : 0;
    // The same with the check period this run could keep (its p99), which
    // a loaded machine stretches for the peer sleep loop just the same.
    state.counters["goal_met_measured"] = late.dP99 <= period.dP99 + 2.0 ? 1 : 0;
    if (g_sleepPeriod.dMedian > 0) {
        state.counters["check_median_vs_sleep"] = period.dMedian / g_sleepPeriod.dMedian;
        state.counters["check_p99_vs_sleep"] = period.dP99 / g_sleepPeriod.dP99;
    }
}
BENCHMARK(BM_TimerManager)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    while (takeFlag(argc, argv, "--pulses", g_uiPulses) || takeFlag(argc, argv, "--delay", g_uiDelay) ||
           takeFlag(argc, argv, "--sleeps", g_uiSleeps)) {
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

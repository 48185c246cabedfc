// Touch input from the platform's thread to the touch listener on the main
// loop, beside a peer in the same program, and what a flood of moves does
// to the timer and render messages sharing the queue.
//
//   PeerTouch    - a std::mutex + std::deque + condition variable queue of
//                  plain touch records, whose consumer calls the listener:
//                  the floor of any queue between two threads;
//   CenterTouch  - CMessageCenter::pushTouchMessage on a producer thread:
//                  the surface's cursor manager tracks the finger and queues
//                  a touch message, the main loop pops it and its handling
//                  calls the surface's ITouchListener.
//   Both with mode:0 (the producer floods: throughput) and mode:1 (paced at
//   5 kHz: latency from the push to the listener call, median and p99).
//
//   TimerUnderFlood - a 40 ms timer started on the main loop, which also
//                  handles touch moves arriving at 5 kHz (flood:1) or none
//                  (flood:0); each move costs the listener --touch_cost_us
//                  (default 100) of work. Reports how long the timer waits
//                  for its delivery and how long a render request made at
//                  the same moment waits, both against the run without flood.
//
// Flags (before the benchmark's own): --touch_cost_us=N.

#include <input/CCursor.h>
#include <input/CSurface.h>
#include <input/ITouchListener.h>
#include <message/CMessageCenter.h>
#include <message/IMessageCenterListener.h>
#include <timer/CTimer.h>
#include <timer/CTimerManager.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace Trell;

namespace {

using Clock = std::chrono::steady_clock;

const unsigned int kFloodMoves = 20000;
const unsigned int kPacedMoves = 2000;
const auto kPacedPeriod = std::chrono::microseconds(200); // 5 kHz
unsigned int g_uiTouchCostUs = 100;

double toMs(Clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

// Median and p99 (nearest rank) of the values, in place.
std::pair<double, double> medianAndP99(std::vector<double>& values)
{
    if (values.empty())
        return {0, 0};
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    const size_t p99 = std::min(n - 1, static_cast<size_t>(std::ceil(0.99 * static_cast<double>(n))) - 1);
    return {values[n / 2], values[p99]};
}

// Push times by sequence number; a move carries its number in x. Written
// by the producer before the push, read by the consumer after the pop: the
// queue's lock orders the two.
std::vector<Clock::time_point> g_pushTimes(kFloodMoves + 1);

// Produces moves 1..n for finger 1, flooding or paced.
void produceMoves(unsigned int n, bool bPaced, void (*pfnPush)(int))
{
    Clock::time_point next = Clock::now();
    for (unsigned int i = 1; i <= n; ++i) {
        if (bPaced) {
            next += kPacedPeriod;
            std::this_thread::sleep_until(next);
        }
        g_pushTimes[i] = Clock::now();
        pfnPush(static_cast<int>(i));
    }
}

// --- Peer: the standard library queue --------------------------------------

struct tagTouchRecord
{
    unsigned int uiSurface;
    unsigned int uiCursor;
    int iX;
    int iY;
    unsigned int uiStatus;
};

class CPeerListener
{
public:
    virtual ~CPeerListener() = default;
    virtual void onTouchMove(const tagTouchRecord& record) = 0;
};

class CPeerQueue
{
public:
    void push(const tagTouchRecord& record)
    {
        {
            std::lock_guard<std::mutex> guard(m_mutex);
            m_queue.push_back(record);
        }
        m_ready.notify_one();
    }
    tagTouchRecord pop()
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        m_ready.wait(guard, [this] { return !m_queue.empty(); });
        tagTouchRecord record = m_queue.front();
        m_queue.pop_front();
        return record;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<tagTouchRecord> m_queue;
};

CPeerQueue* g_pPeerQueue = nullptr;

// Hears moves on the consumer and keeps their latency.
struct tagLatencies
{
    std::vector<double> values;
    unsigned int uiHeard = 0;
    void hear(int iSequence)
    {
        values.push_back(toMs(Clock::now() - g_pushTimes[static_cast<unsigned int>(iSequence)]) * 1000.0);
        ++uiHeard;
    }
    void report(benchmark::State& state, unsigned int uiPerIteration)
    {
        const auto [dMedian, dP99] = medianAndP99(values);
        state.counters["latency_median_us"] = dMedian;
        state.counters["latency_p99_us"] = dP99;
        state.SetItemsProcessed(static_cast<long long>(state.iterations()) * uiPerIteration);
    }
};

class CPeerRecorder : public CPeerListener
{
public:
    void onTouchMove(const tagTouchRecord& record) override { latencies.hear(record.iX); }
    tagLatencies latencies;
};

void BM_PeerTouch(benchmark::State& state)
{
    const bool bPaced = state.range(0) == 1;
    const unsigned int uiMoves = bPaced ? kPacedMoves : kFloodMoves;
    CPeerQueue queue;
    g_pPeerQueue = &queue;
    CPeerRecorder listener;
    CPeerListener* pListener = &listener;
    for (auto _ : state) {
        std::thread producer(
            produceMoves, uiMoves, bPaced, +[](int i) {
                g_pPeerQueue->push({0, 1, i, 0, 1});
            });
        for (unsigned int n = 0; n < uiMoves; ++n)
            pListener->onTouchMove(queue.pop());
        producer.join();
    }
    listener.latencies.report(state, uiMoves);
}

// --- The library: message center, cursor manager, surface ------------------

// Wakes the main loop only while it sleeps (see bench_message), and keeps
// when render requests are handled.
class CMainLoop : public IMessageCenterListener
{
public:
    void onMessageAvailable() override
    {
        if (m_bSleeping.load(std::memory_order_relaxed)) {
            {
                std::lock_guard<std::mutex> guard(m_mutex);
                m_bWoken = true;
            }
            m_wake.notify_one();
        }
    }
    void onHandleRenderMessage(unsigned int) override { lastRender = Clock::now(); }

    // Pops and handles one message, sleeping while the center is empty.
    void handleNext(CMessageCenter* pCenter)
    {
        CObjectPtr<CBaseMessage> message = pCenter->popMessage();
        if (!message) {
            m_bSleeping.store(true);
            message = pCenter->popMessage();
            if (!message) {
                std::unique_lock<std::mutex> guard(m_mutex);
                m_wake.wait_for(guard, std::chrono::milliseconds(50), [this] { return m_bWoken; });
                m_bWoken = false;
            }
            m_bSleeping.store(false);
        }
        if (message)
            message->handleMessage();
    }

    Clock::time_point lastRender;

private:
    std::atomic<bool> m_bSleeping{false};
    bool m_bWoken = false; // guarded by m_mutex
    std::mutex m_mutex;
    std::condition_variable m_wake;
};

class CTouchRecorder : public ITouchListener
{
public:
    void onTouchPress(const CCursor&) override {}
    void onTouchMove(const CCursor& cursor) override
    {
        if (m_bLatency)
            latencies.hear(cursor.getX());
        else
            ++latencies.uiHeard;
        // The work a listener does per move (hit test, drag), on the main loop.
        const Clock::time_point until = Clock::now() + std::chrono::microseconds(uiCostUs);
        while (uiCostUs && Clock::now() < until) {
        }
    }
    void onTouchRelease(const CCursor&) override {}
    void onTouchWheel(const CCursor&) override {}

    tagLatencies latencies;
    unsigned int uiCostUs = 0;
    bool m_bLatency = true;
};

// The center, the timer thread and surface 0 with finger 1 down.
struct tagTouchSetup
{
    explicit tagTouchSetup(CTouchRecorder& listener)
    {
        pCenter = CMessageCenter::getInstance();
        pCenter->setListener(&loop);
        CTimerManager::getInstance()->start();
        CSurface* pSurface = CSurface::getInstance(0, false);
        pSurface->setTouchListener(&listener);
        pSurface->setEnable(true);
        pCenter->pushTouchMessage(0, 1, 0, 0, 0);
        loop.handleNext(pCenter);
    }
    ~tagTouchSetup()
    {
        pCenter->pushTouchMessage(0, 1, 0, 0, 2);
        pCenter->clearMessageList();
        CSurface::deleteInstance();
        CTimerManager::getInstance()->stop();
        CTimerManager::deleteInstance();
        pCenter->setListener(nullptr);
        CMessageCenter::deleteInstance();
    }
    CMessageCenter* pCenter = nullptr;
    CMainLoop loop;
};

void BM_CenterTouch(benchmark::State& state)
{
    const bool bPaced = state.range(0) == 1;
    const unsigned int uiMoves = bPaced ? kPacedMoves : kFloodMoves;
    CTouchRecorder listener;
    tagTouchSetup setup(listener);
    for (auto _ : state) {
        const unsigned int uiTarget = listener.latencies.uiHeard + uiMoves;
        std::thread producer(
            produceMoves, uiMoves, bPaced,
            +[](int i) { CMessageCenter::getInstance()->pushTouchMessage(0, 1, i, 0, 1); });
        while (listener.latencies.uiHeard < uiTarget)
            setup.loop.handleNext(setup.pCenter);
        producer.join();
    }
    listener.latencies.report(state, uiMoves);
}

// --- A timer and a render request during a flood of moves -------------------

class CTimerRecorder : public ITimerListener
{
public:
    void onTimerComplete(const CTimer*) override
    {
        done = Clock::now();
        bDone = true;
    }
    Clock::time_point done;
    bool bDone = false;
};

void BM_TimerUnderFlood(benchmark::State& state)
{
    const bool bFlood = state.range(0) == 1;
    CTouchRecorder listener;
    listener.uiCostUs = g_uiTouchCostUs;
    listener.m_bLatency = false;
    tagTouchSetup setup(listener);
    if (!bFlood) // no resting finger either: its press repeats would be timer traffic
        setup.pCenter->pushTouchMessage(0, 1, 0, 0, 2);
    std::atomic<bool> bStop{false};
    std::thread producer([&] {
        Clock::time_point next = Clock::now();
        int i = 0;
        while (bFlood && !bStop.load()) {
            next += kPacedPeriod;
            std::this_thread::sleep_until(next);
            CMessageCenter::getInstance()->pushTouchMessage(0, 1, 100 + (++i % 500), 0, 1);
        }
    });
    // Let the flood settle into its rhythm first.
    const Clock::time_point warm = Clock::now() + std::chrono::milliseconds(100);
    while (Clock::now() < warm)
        setup.loop.handleNext(setup.pCenter);

    std::vector<double> timerWaits;
    std::vector<double> renderWaits;
    for (auto _ : state) {
        CTimerRecorder recorder;
        CTimer timer(40, 1);
        timer.setListener(&recorder);
        const Clock::time_point start = Clock::now();
        timer.start();
        setup.loop.lastRender = Clock::time_point();
        setup.pCenter->pushRenderMessage(7);
        while (!recorder.bDone || setup.loop.lastRender == Clock::time_point())
            setup.loop.handleNext(setup.pCenter);
        timerWaits.push_back(toMs(recorder.done - start));
        renderWaits.push_back(toMs(setup.loop.lastRender - start));
    }
    bStop.store(true);
    producer.join();
    const auto [dTimerMedian, dTimerP99] = medianAndP99(timerWaits);
    const auto [dRenderMedian, dRenderP99] = medianAndP99(renderWaits);
    state.counters["timer_wait_median_ms"] = dTimerMedian;
    state.counters["timer_wait_p99_ms"] = dTimerP99;
    state.counters["render_wait_median_ms"] = dRenderMedian;
    state.counters["render_wait_p99_ms"] = dRenderP99;
    state.counters["moves_handled"] = listener.latencies.uiHeard;
}

} // namespace

BENCHMARK(BM_PeerTouch)->Arg(0)->Arg(1)->ArgName("mode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CenterTouch)->Arg(0)->Arg(1)->ArgName("mode")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TimerUnderFlood)
    ->Arg(0)
    ->Arg(1)
    ->ArgName("flood")
    ->Iterations(20)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--touch_cost_us=", 16) == 0) {
            g_uiTouchCostUs = static_cast<unsigned int>(std::strtoul(argv[i] + 16, nullptr, 10));
            std::memmove(argv + i, argv + i + 1, static_cast<size_t>(argc - i) * sizeof(char*));
            --argc;
            --i;
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// Push + pop throughput of small messages through CMessageCenter, beside a
// std::mutex + std::deque<std::unique_ptr<...>> queue, with one consumer and
// one or two producers. Each iteration moves kMessages messages; the
// consumer is the benchmark thread. Two shapes: the consumer blocks when the
// queue is empty (the center wakes it through onMessageAvailable, the peer
// through a condition variable), or it polls without ever sleeping.
// Both sides allocate a message, push it, pop it and destroy it.

#include <message/CMessageCenter.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

using namespace Trell;

namespace {

const unsigned int kMessages = 200000;

// --- Peer: the standard library queue ---

struct tagPeerMessage
{
    virtual ~tagPeerMessage() = default;
    unsigned int type = 24;
    unsigned int id = 0;
};

class CPeerQueue
{
public:
    // The same wake technique as the center's listener below: only a
    // sleeping consumer is signalled (the flag is read under the mutex the
    // push holds anyway).
    void push(std::unique_ptr<tagPeerMessage> message)
    {
        bool sleeping = false;
        {
            std::lock_guard<std::mutex> guard(m_mutex);
            m_queue.push_back(std::move(message));
            sleeping = m_sleeping;
        }
        if (sleeping)
            m_ready.notify_one();
    }

    std::unique_ptr<tagPeerMessage> pop()
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        while (m_queue.empty()) {
            m_sleeping = true;
            ++m_sleeps;
            m_ready.wait(guard);
            m_sleeping = false;
        }
        std::unique_ptr<tagPeerMessage> message = std::move(m_queue.front());
        m_queue.pop_front();
        return message;
    }

    // How often pop() slept, for the consumer thread.
    unsigned long long sleeps() const { return m_sleeps; }

    // Null when the queue is empty.
    std::unique_ptr<tagPeerMessage> tryPop()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        if (m_queue.empty())
            return nullptr;
        std::unique_ptr<tagPeerMessage> message = std::move(m_queue.front());
        m_queue.pop_front();
        return message;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<std::unique_ptr<tagPeerMessage>> m_queue;
    bool m_sleeping = false;         // guarded by m_mutex
    unsigned long long m_sleeps = 0; // guarded by m_mutex
};

// Producers that share the messages of one round between them.
std::vector<std::thread> startPeerProducers(CPeerQueue& queue, unsigned int producers)
{
    std::vector<std::thread> threads;
    for (unsigned int p = 0; p < producers; ++p) {
        threads.emplace_back([&queue, producers] {
            for (unsigned int i = 0; i < kMessages / producers; ++i) {
                std::unique_ptr<tagPeerMessage> message = std::make_unique<tagPeerMessage>();
                message->id = i;
                queue.push(std::move(message));
            }
        });
    }
    return threads;
}

void BM_PeerQueue(benchmark::State& state)
{
    const unsigned int producers = static_cast<unsigned int>(state.range(0));
    CPeerQueue queue;
    unsigned long long checksum = 0;
    for (auto _ : state) {
        std::vector<std::thread> threads = startPeerProducers(queue, producers);
        for (unsigned int n = 0; n < kMessages / producers * producers; ++n)
            checksum += queue.pop()->id;
        for (std::thread& thread : threads)
            thread.join();
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * (kMessages / producers * producers));
    state.counters["sleeps"] =
        benchmark::Counter(static_cast<double>(queue.sleeps()), benchmark::Counter::kAvgIterations);
}

// A polling consumer: it never sleeps, so no producer signals it (the
// center runs without a listener).
void BM_PeerQueuePolling(benchmark::State& state)
{
    const unsigned int producers = static_cast<unsigned int>(state.range(0));
    CPeerQueue queue;
    unsigned long long checksum = 0;
    for (auto _ : state) {
        std::vector<std::thread> threads = startPeerProducers(queue, producers);
        for (unsigned int n = 0; n < kMessages / producers * producers;) {
            if (std::unique_ptr<tagPeerMessage> message = queue.tryPop()) {
                checksum += message->id;
                ++n;
            }
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * (kMessages / producers * producers));
}

// --- The message center ---

// The host's side of the wake-up, as cheap as the peer's condition variable:
// a push costs one plain load of the sleeping flag (notify_one without a
// waiter is one load too), and only a sleeping consumer is signalled.
// No wake-up is lost: the consumer raises the flag before its last look at
// the queue, and both that look and every push take the center's lock, so
// either the look sees the message or the push sees the flag.
class CWakeListener : public IMessageCenterListener
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

    // The next message, sleeping while the center is empty.
    CObjectPtr<CBaseMessage> popWaiting(CMessageCenter* center)
    {
        for (;;) {
            CObjectPtr<CBaseMessage> message = center->popMessage();
            if (message)
                return message;
            m_bSleeping.store(true);
            message = center->popMessage();
            if (!message) {
                std::unique_lock<std::mutex> guard(m_mutex);
                ++m_uiSleeps;
                m_wake.wait(guard, [this] { return m_bWoken; });
                m_bWoken = false;
            }
            m_bSleeping.store(false);
            if (message)
                return message;
        }
    }

    // How often popWaiting() slept, for the consumer thread.
    unsigned long long sleeps() const { return m_uiSleeps; }

private:
    std::atomic<bool> m_bSleeping{false};
    unsigned long long m_uiSleeps = 0; // consumer thread only
    bool m_bWoken = false;             // guarded by m_mutex
    std::mutex m_mutex;
    std::condition_variable m_wake;
};

void BM_MessageCenter(benchmark::State& state)
{
    const unsigned int producers = static_cast<unsigned int>(state.range(0));
    CMessageCenter* center = CMessageCenter::getInstance();
    CWakeListener listener;
    center->setListener(&listener);
    unsigned long long checksum = 0;
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (unsigned int p = 0; p < producers; ++p) {
            threads.emplace_back([center, producers] {
                for (unsigned int i = 0; i < kMessages / producers; ++i)
                    center->pushMessage(new CMsgLogicEvent(i));
            });
        }
        const unsigned int total = kMessages / producers * producers;
        for (unsigned int n = 0; n < total; ++n)
            checksum += listener.popWaiting(center)->getID();
        for (std::thread& thread : threads)
            thread.join();
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * (kMessages / producers * producers));
    state.counters["sleeps"] =
        benchmark::Counter(static_cast<double>(listener.sleeps()), benchmark::Counter::kAvgIterations);
    center->setListener(nullptr);
    CMessageCenter::deleteInstance();
}

void BM_MessageCenterPolling(benchmark::State& state)
{
    const unsigned int producers = static_cast<unsigned int>(state.range(0));
    CMessageCenter* center = CMessageCenter::getInstance();
    unsigned long long checksum = 0;
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (unsigned int p = 0; p < producers; ++p) {
            threads.emplace_back([center, producers] {
                for (unsigned int i = 0; i < kMessages / producers; ++i)
                    center->pushMessage(new CMsgLogicEvent(i));
            });
        }
        for (unsigned int n = 0; n < kMessages / producers * producers;) {
            if (CObjectPtr<CBaseMessage> message = center->popMessage()) {
                checksum += message->getID();
                ++n;
            }
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    benchmark::DoNotOptimize(checksum);
    state.SetItemsProcessed(static_cast<long long>(state.iterations()) * (kMessages / producers * producers));
    CMessageCenter::deleteInstance();
}

} // namespace

// Real time gives the rate; the CPU column is the whole process's CPU time,
// which a loaded machine disturbs less than the rate.
BENCHMARK(BM_PeerQueue)
    ->Arg(1)
    ->Arg(2)
    ->ArgName("producers")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MessageCenter)
    ->Arg(1)
    ->Arg(2)
    ->ArgName("producers")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(BM_PeerQueuePolling)
    ->Arg(2)
    ->ArgName("producers")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MessageCenterPolling)
    ->Arg(2)
    ->ArgName("producers")
    ->MeasureProcessCPUTime()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

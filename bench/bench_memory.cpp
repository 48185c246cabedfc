// Allocation speed of the memory manager beside the system allocators, in
// one program so that every figure is a ratio measured in the same run.
//
// Patterns, sizes 8..512 bytes drawn at random (fixed seed):
//   LIFO   - allocate one block, touch it, free it, repeat;
//   Batch  - allocate 10,000 blocks, then free them in a random order;
//   Batch2 - two threads each doing Batch at the same time;
//   Handoff - one thread allocates 64-byte blocks and passes them through a
//            single-producer single-consumer ring to a second thread, which
//            frees them (the message center's pattern).
// Figures are nanoseconds per malloc+free pair and per thread (Handoff: per
// block passed, as the producer sees it). mimalloc and
// jemalloc are loaded with dlopen (when installed) and called through their
// own entry points (mi_malloc/mi_free, mallocx/dallocx), so that they do not
// replace malloc for the whole program.

#include <foundation/CMemManager.h>
#include <foundation/CMemory.h>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Trell;

namespace {

constexpr unsigned int LIFO_PAIRS = 1024;
constexpr unsigned int BATCH = 10000;
constexpr unsigned int HANDOFF_BLOCKS = 20000;
constexpr unsigned int HANDOFF_SIZE = 64;

struct tagPeer
{
    const char* name;
    void* (*allocate)(std::size_t);
    void (*release)(void*);
};

void* glibcAllocate(std::size_t size)
{
    return std::malloc(size);
}
void glibcRelease(void* p)
{
    std::free(p);
}
void* ecsAllocate(std::size_t size)
{
    return CMemory::malloc(static_cast<unsigned int>(size), 0);
}
void ecsRelease(void* p)
{
    CMemory::free(p);
}

using MallocxFn = void* (*)(std::size_t, int);
using DallocxFn = void (*)(void*, int);
MallocxFn g_pfnMallocx = nullptr;
DallocxFn g_pfnDallocx = nullptr;
void* jeAllocate(std::size_t size)
{
    return g_pfnMallocx(size, 0);
}
void jeRelease(void* p)
{
    g_pfnDallocx(p, 0);
}

using MiMallocFn = void* (*)(std::size_t);
using MiFreeFn = void (*)(void*);
MiMallocFn g_pfnMiMalloc = nullptr;
MiFreeFn g_pfnMiFree = nullptr;
void* miAllocate(std::size_t size)
{
    return g_pfnMiMalloc(size);
}
void miRelease(void* p)
{
    g_pfnMiFree(p);
}

std::vector<tagPeer> loadPeers(char** argv)
{
    std::vector<tagPeer> peers = {{"glibc", glibcAllocate, glibcRelease}, {"ecs", ecsAllocate, ecsRelease}};
    if (void* lib = dlopen("libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL)) {
        g_pfnMiMalloc = reinterpret_cast<MiMallocFn>(dlsym(lib, "mi_malloc"));
        g_pfnMiFree = reinterpret_cast<MiFreeFn>(dlsym(lib, "mi_free"));
        if (g_pfnMiMalloc && g_pfnMiFree)
            peers.push_back({"mimalloc", miAllocate, miRelease});
    } else {
        std::fprintf(stderr, "mimalloc not available: %s\n", dlerror());
    }
    void* jemalloc = dlopen("libjemalloc.so.2", RTLD_NOW | RTLD_LOCAL);
    if (!jemalloc && !std::getenv("ECS_BENCH_REEXECUTED")) {
        // jemalloc keeps its thread state in static TLS, which a library
        // loaded late only gets when the dynamic linker reserved room for it
        // at start-up: start over once with a larger reserve.
        setenv("GLIBC_TUNABLES", "glibc.rtld.optional_static_tls=65536", 1);
        setenv("ECS_BENCH_REEXECUTED", "1", 1);
        execv("/proc/self/exe", argv);
    }
    if (void* lib = jemalloc) {
        g_pfnMallocx = reinterpret_cast<MallocxFn>(dlsym(lib, "mallocx"));
        g_pfnDallocx = reinterpret_cast<DallocxFn>(dlsym(lib, "dallocx"));
        if (g_pfnMallocx && g_pfnDallocx)
            peers.push_back({"jemalloc", jeAllocate, jeRelease});
    } else {
        std::fprintf(stderr, "jemalloc not available: %s\n", dlerror());
    }
    return peers;
}

std::vector<unsigned int> randomSizes(unsigned int count, unsigned int seed)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<unsigned int> size(8, 512);
    std::vector<unsigned int> sizes(count);
    for (auto& s : sizes)
        s = size(random);
    return sizes;
}

// Each thread times its own loop, so that the figure is what one thread
// sees per pair whatever the other thread does; averaged over the threads.
void reportPairTime(benchmark::State& state, std::chrono::steady_clock::time_point start, unsigned int pairs)
{
    const double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
    const double total = static_cast<double>(state.iterations()) * pairs;
    state.counters["ns_per_pair"] = benchmark::Counter(total > 0 ? ns / total : 0, benchmark::Counter::kAvgThreads);
}

void lifo(benchmark::State& state, tagPeer peer)
{
    const std::vector<unsigned int> sizes = randomSizes(LIFO_PAIRS, 7);
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        for (unsigned int i = 0; i < LIFO_PAIRS; ++i) {
            char* p = static_cast<char*>(peer.allocate(sizes[i]));
            p[0] = 1;
            benchmark::DoNotOptimize(p);
            peer.release(p);
        }
    }
    reportPairTime(state, start, LIFO_PAIRS);
}

void batch(benchmark::State& state, tagPeer peer)
{
    const std::vector<unsigned int> sizes = randomSizes(BATCH, 11 + state.thread_index());
    std::vector<unsigned int> order(BATCH);
    for (unsigned int i = 0; i < BATCH; ++i)
        order[i] = i;
    std::shuffle(order.begin(), order.end(), std::mt19937(13 + state.thread_index()));
    std::vector<char*> blocks(BATCH);
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        for (unsigned int i = 0; i < BATCH; ++i) {
            blocks[i] = static_cast<char*>(peer.allocate(sizes[i]));
            blocks[i][0] = 1;
        }
        for (unsigned int i = 0; i < BATCH; ++i)
            peer.release(blocks[order[i]]);
        benchmark::ClobberMemory();
    }
    reportPairTime(state, start, BATCH);
}

// A bounded single-producer single-consumer ring: cheap enough that the
// allocator, not the queue, sets the pace of Handoff.
class CHandoffRing
{
public:
    static constexpr std::size_t CAPACITY = 1024;

    void push(void* p)
    {
        while (m_tail - m_head.load(std::memory_order_acquire) == CAPACITY)
            std::this_thread::yield();
        m_slots[m_tail % CAPACITY] = p;
        m_published.store(++m_tail, std::memory_order_release);
    }

    // Waits until the consumer has taken everything pushed so far.
    void drain() const
    {
        while (m_head.load(std::memory_order_acquire) != m_tail)
            std::this_thread::yield();
    }

    // Consumer side: hands every block pushed so far to `take`; false once
    // `stop` is set and nothing is left.
    template <class F>
    bool consume(const std::atomic<bool>& stop, F take)
    {
        const std::size_t tail = m_published.load(std::memory_order_acquire);
        std::size_t head = m_head.load(std::memory_order_relaxed);
        if (head == tail) {
            if (stop.load(std::memory_order_acquire) && m_published.load(std::memory_order_acquire) == head)
                return false;
            std::this_thread::yield();
            return true;
        }
        for (; head != tail; ++head)
            take(m_slots[head % CAPACITY]);
        m_head.store(head, std::memory_order_release);
        return true;
    }

private:
    void* m_slots[CAPACITY] = {};
    alignas(64) std::atomic<std::size_t> m_published{0};
    alignas(64) std::atomic<std::size_t> m_head{0};
    alignas(64) std::size_t m_tail = 0;
};

void handoff(benchmark::State& state, tagPeer peer)
{
    CHandoffRing ring;
    std::atomic<bool> stop{false};
    std::thread consumer([&] {
        unsigned int seen = 0;
        while (ring.consume(stop, [&](void* p) {
            seen += static_cast<unsigned char*>(p)[0];
            peer.release(p);
        })) {
        }
        benchmark::DoNotOptimize(seen);
    });
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        for (unsigned int i = 0; i < HANDOFF_BLOCKS; ++i) {
            unsigned char* p = static_cast<unsigned char*>(peer.allocate(HANDOFF_SIZE));
            p[0] = 1;
            ring.push(p);
        }
        ring.drain();
    }
    reportPairTime(state, start, HANDOFF_BLOCKS);
    stop.store(true, std::memory_order_release);
    consumer.join();
}

// Collects ns per pair per thread for the ratio table printed at the end.
class CRatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            // With repetitions the median stands for the run; without, the
            // single iteration run does.
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.error_occurred || (run.run_type != Run::RT_Iteration && !median) ||
                (run.run_type == Run::RT_Iteration && run.repetitions > 1))
                continue;
            const auto pairTime = run.counters.find("ns_per_pair");
            if (pairTime == run.counters.end())
                continue;
            const double ns = pairTime->second.value;
            const std::string name = run.run_name.function_name;
            const auto slash = name.find('/');
            m_figures[name.substr(0, slash)][name.substr(slash + 1)] = ns;
        }
    }

    void printRatios() const
    {
        std::printf("\nns per malloc+free pair (per thread) and ratio to glibc\n");
        for (const auto& [pattern, peers] : m_figures) {
            const auto glibc = peers.find("glibc");
            for (const auto& [peer, ns] : peers) {
                if (glibc != peers.end())
                    std::printf("  %-7s %-9s %8.1f ns   %5.2fx glibc\n", pattern.c_str(), peer.c_str(), ns,
                                ns / glibc->second);
                else
                    std::printf("  %-7s %-9s %8.1f ns\n", pattern.c_str(), peer.c_str(), ns);
            }
        }
    }

private:
    std::map<std::string, std::map<std::string, double>> m_figures;
};

} // namespace

int main(int argc, char** argv)
{
    if (!CMemManager::getInstance()) {
        std::fprintf(stderr, "memory manager is not active\n");
        return 1;
    }
    for (const tagPeer& peer : loadPeers(argv)) {
        benchmark::RegisterBenchmark((std::string("LIFO/") + peer.name).c_str(), lifo, peer)->UseRealTime();
        benchmark::RegisterBenchmark((std::string("Batch/") + peer.name).c_str(), batch, peer)->UseRealTime();
        benchmark::RegisterBenchmark((std::string("Batch2/") + peer.name).c_str(), batch, peer)
            ->Threads(2)
            ->UseRealTime();
        benchmark::RegisterBenchmark((std::string("Handoff/") + peer.name).c_str(), handoff, peer)->UseRealTime();
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}

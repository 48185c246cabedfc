// Platform primitives beside their standard-library peers, in one program so
// that every figure is a ratio measured in the same run.
//
//   Lock         - uncontended lock+unlock: CSyncObject (through CAutoSync)
//                  beside std::recursive_mutex and std::mutex;
//   PingPong     - one round trip between two threads over two events:
//                  CWaitObject unnamed and named beside std::mutex +
//                  std::condition_variable;
//   ProcPingPong - one round trip between two processes: named CWaitObject
//                  beside a pair of pipes, with the 50th and 99th percentile
//                  of the round trip (two notify -> wake latencies);
//   NamedMutex   - uncontended lock+unlock: the named mutex beside a
//                  process-shared pthread mutex in shared memory;
//   NamedOpen    - open+close of a named event beside shm_open, size, map,
//                  unmap, close and unlink of a bare shared-memory object;
//   ThreadCycle  - start and stop of a worker: CThread beside std::thread;
//   Calendar     - date from total seconds and back: CTime beside
//                  std::chrono's calendar types.

#include <platform/CAutoSync.h>
#include <platform/CSyncObject.h>
#include <platform/CThread.h>
#include <platform/CWaitObject.h>
#include <platform/posix/NamedObject.h>
#include <system/CTime.h>
#include <text/CString.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Trell;

namespace Trell {
// The named mutex is internal to the library; this program compiles its layer.
void logNamedObject(const char*)
{}
} // namespace Trell

namespace {

CString eventName(const char* pszTag)
{
    std::string text = std::string("ecs_bench_") + pszTag + "_" + std::to_string(getpid());
    std::u16string wide(text.begin(), text.end());
    return CString(wide.c_str());
}

// --- Lock ---------------------------------------------------------------

void BM_Lock_CSyncObject(benchmark::State& state)
{
    CSyncObject sync;
    for (auto _ : state) {
        CAutoSync hold(sync);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Lock_CSyncObject);

void BM_Lock_StdRecursiveMutex(benchmark::State& state)
{
    std::recursive_mutex mutex;
    for (auto _ : state) {
        std::lock_guard<std::recursive_mutex> hold(mutex);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Lock_StdRecursiveMutex);

void BM_Lock_StdMutex(benchmark::State& state)
{
    std::mutex mutex;
    for (auto _ : state) {
        std::lock_guard<std::mutex> hold(mutex);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Lock_StdMutex);

// --- PingPong between threads -----------------------------------------------

void pingPong(benchmark::State& state, const CString& pingName, const CString& pongName)
{
    CWaitObject ping(pingName);
    CWaitObject pong(pongName);
    std::atomic<bool> bStop{false};
    std::thread partner([&] {
        for (;;) {
            ping.wait(0);
            if (bStop.load())
                break;
            pong.notify();
        }
    });
    for (auto _ : state) {
        ping.notify();
        pong.wait(0);
    }
    bStop = true;
    ping.notify();
    partner.join();
}

void BM_PingPong_CWaitObject(benchmark::State& state)
{
    pingPong(state, STRING_NULL, STRING_NULL);
}
BENCHMARK(BM_PingPong_CWaitObject)->UseRealTime();

void BM_PingPong_CWaitObjectNamed(benchmark::State& state)
{
    pingPong(state, eventName("tping"), eventName("tpong"));
}
BENCHMARK(BM_PingPong_CWaitObjectNamed)->UseRealTime();

// The same manual-reset-event protocol on the standard primitives.
struct tagStdEvent
{
    std::mutex mutex;
    std::condition_variable cv;
    bool bSignalled = false;
    void notify()
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            bSignalled = true;
        }
        cv.notify_all();
    }
    void wait()
    {
        std::unique_lock<std::mutex> lock(mutex);
        cv.wait(lock, [this] { return bSignalled; });
        bSignalled = false;
    }
};

void BM_PingPong_StdConditionVariable(benchmark::State& state)
{
    tagStdEvent ping, pong;
    std::atomic<bool> bStop{false};
    std::thread partner([&] {
        for (;;) {
            ping.wait();
            if (bStop.load())
                break;
            pong.notify();
        }
    });
    for (auto _ : state) {
        ping.notify();
        pong.wait();
    }
    bStop = true;
    ping.notify();
    partner.join();
}
BENCHMARK(BM_PingPong_StdConditionVariable)->UseRealTime();

// --- PingPong between processes --------------------------------------------

// Round-trip times of one run, reported as percentiles in microseconds.
class CRoundTrips
{
public:
    CRoundTrips() { m_times.reserve(1 << 20); }
    void add(std::chrono::steady_clock::time_point start)
    {
        if (m_times.size() < m_times.capacity())
            m_times.push_back(
                std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    void report(benchmark::State& state)
    {
        if (m_times.empty())
            return;
        std::sort(m_times.begin(), m_times.end());
        state.counters["p50_us"] = m_times[m_times.size() / 2];
        state.counters["p99_us"] = m_times[m_times.size() * 99 / 100];
    }

private:
    std::vector<double> m_times;
};

void BM_ProcPingPong_CWaitObjectNamed(benchmark::State& state)
{
    const CString pingName = eventName("pping");
    const CString pongName = eventName("ppong");
    // The stop request lives in memory shared with the child.
    void* pShared = mmap(nullptr, sizeof(std::atomic<bool>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pShared == MAP_FAILED) {
        state.SkipWithError("mmap");
        return;
    }
    std::atomic<bool>* pStop = new (pShared) std::atomic<bool>(false);
    CWaitObject ping(pingName);
    CWaitObject pong(pongName);
    pid_t pid = fork();
    if (pid == 0) {
        {
            // The child's own handles on the same names.
            CWaitObject childPing(pingName);
            CWaitObject childPong(pongName);
            childPong.notify(); // ready
            for (;;) {
                childPing.wait(0);
                if (pStop->load())
                    break;
                childPong.notify();
            }
        }
        _exit(0);
    }
    pong.wait(0); // the child is ready
    CRoundTrips trips;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        ping.notify();
        pong.wait(0);
        trips.add(start);
    }
    trips.report(state);
    pStop->store(true);
    ping.notify();
    waitpid(pid, nullptr, 0);
    munmap(pShared, sizeof(std::atomic<bool>));
}
BENCHMARK(BM_ProcPingPong_CWaitObjectNamed)->UseRealTime();

void BM_ProcPingPong_Pipe(benchmark::State& state)
{
    int toChild[2], toParent[2];
    if (pipe(toChild) != 0 || pipe(toParent) != 0) {
        state.SkipWithError("pipe");
        return;
    }
    pid_t pid = fork();
    if (pid == 0) {
        // Only the child's own ends stay open, so that the parent's close ends it.
        close(toChild[1]);
        close(toParent[0]);
        char c;
        while (read(toChild[0], &c, 1) == 1) {
            if (write(toParent[1], &c, 1) != 1)
                break;
        }
        _exit(0);
    }
    close(toChild[0]);
    close(toParent[1]);
    char c = 'x';
    CRoundTrips trips;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        if (write(toChild[1], &c, 1) != 1 || read(toParent[0], &c, 1) != 1) {
            state.SkipWithError("pipe io");
            break;
        }
        trips.add(start);
    }
    trips.report(state);
    close(toChild[1]);
    waitpid(pid, nullptr, 0);
    close(toParent[0]);
}
BENCHMARK(BM_ProcPingPong_Pipe)->UseRealTime();

// --- Named mutex -------------------------------------------------------------

void BM_NamedMutex_CNamedMutex(benchmark::State& state)
{
    const CString name = eventName("mutex");
    CNamedMutex mutex;
    mutex.open(name.buffer(), name.length());
    for (auto _ : state) {
        mutex.lock(0, true);
        mutex.unlock();
        benchmark::ClobberMemory();
    }
    mutex.close();
}
BENCHMARK(BM_NamedMutex_CNamedMutex);

void BM_NamedMutex_PthreadShared(benchmark::State& state)
{
    void* pShared = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (pShared == MAP_FAILED) {
        state.SkipWithError("mmap");
        return;
    }
    pthread_mutex_t* pMutex = static_cast<pthread_mutex_t*>(pShared);
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_setpshared(&attr, PTHREAD_PROCESS_SHARED);
    pthread_mutex_init(pMutex, &attr);
    pthread_mutexattr_destroy(&attr);
    for (auto _ : state) {
        pthread_mutex_lock(pMutex);
        pthread_mutex_unlock(pMutex);
        benchmark::ClobberMemory();
    }
    pthread_mutex_destroy(pMutex);
    munmap(pShared, sizeof(pthread_mutex_t));
}
BENCHMARK(BM_NamedMutex_PthreadShared);

// --- Open and close of a named object -----------------------------------------

void BM_NamedOpen_CWaitObject(benchmark::State& state)
{
    const CString name = eventName("open");
    for (auto _ : state) {
        CWaitObject event(name);
        benchmark::DoNotOptimize(&event);
    }
    state.counters["per_s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_NamedOpen_CWaitObject)->UseRealTime();

void BM_NamedOpen_ShmOpen(benchmark::State& state)
{
    const std::string name = "/ecs_bench_shm_" + std::to_string(getpid());
    for (auto _ : state) {
        const int fd = shm_open(name.c_str(), O_RDWR | O_CREAT, 0600);
        if (fd < 0 || ftruncate(fd, 48) != 0) {
            state.SkipWithError("shm_open");
            break;
        }
        void* pView = mmap(nullptr, 48, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        benchmark::DoNotOptimize(pView);
        munmap(pView, 48);
        close(fd);
        shm_unlink(name.c_str());
    }
    state.counters["per_s"] = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_NamedOpen_ShmOpen)->UseRealTime();

// --- Thread start and stop ---------------------------------------------------

class CIdleWorker : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CIdleWorker")
public:
    void run() override
    {
        while (!isPrepareStopThread())
            m_waitWake.wait(0);
    }
};

void BM_ThreadCycle_CThread(benchmark::State& state)
{
    CIdleWorker worker;
    worker.setThreadPriority(50); // normal: no priority change in the figure
    for (auto _ : state) {
        worker.startThread();
        worker.stopThread();
    }
}
BENCHMARK(BM_ThreadCycle_CThread)->UseRealTime();

void BM_ThreadCycle_StdThread(benchmark::State& state)
{
    for (auto _ : state) {
        tagStdEvent wake;
        std::thread worker([&] { wake.wait(); });
        wake.notify();
        worker.join();
    }
}
BENCHMARK(BM_ThreadCycle_StdThread)->UseRealTime();

// --- Calendar ----------------------------------------------------------------

std::vector<long long> randomSeconds()
{
    std::mt19937_64 random(42);
    std::uniform_int_distribution<long long> any(0, 3652058LL * 86400);
    std::vector<long long> values(4096);
    for (long long& v : values)
        v = any(random);
    return values;
}

void BM_Calendar_CTime(benchmark::State& state)
{
    const std::vector<long long> values = randomSeconds();
    std::size_t i = 0;
    for (auto _ : state) {
        const CTime t(values[i++ & 4095]);
        benchmark::DoNotOptimize(t.getTotalSeconds() + t.getDayOfWeek());
    }
}
BENCHMARK(BM_Calendar_CTime);

void BM_Calendar_StdChrono(benchmark::State& state)
{
    namespace chr = std::chrono;
    const std::vector<long long> values = randomSeconds();
    const chr::sys_days first = chr::sys_days(chr::year(1) / chr::January / 1);
    std::size_t i = 0;
    for (auto _ : state) {
        const long long s = values[i++ & 4095];
        const chr::sys_days day = first + chr::days(s / 86400);
        const chr::year_month_day ymd(day);
        const chr::hh_mm_ss<chr::seconds> hms{chr::seconds(s % 86400)};
        const long long back = (chr::sys_days(ymd) - first).count() * 86400 + hms.hours().count() * 3600 +
                               hms.minutes().count() * 60 + hms.seconds().count();
        benchmark::DoNotOptimize(back + chr::weekday(day).c_encoding());
    }
}
BENCHMARK(BM_Calendar_StdChrono);

} // namespace

BENCHMARK_MAIN();

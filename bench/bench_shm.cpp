// The shared-memory channel beside a pipe between the same two processes:
// this program as the writer, a copy of itself started as the reader.
//
//   Latency    - from the write of one block until the reader holds all of
//                it (the channel: the listener has read it with readData;
//                the pipe: every byte is read), for 64 B and 64 KiB, with
//                the 50th and 99th percentile. The reader reports the moment
//                on a second pipe; the clock is the monotonic clock both
//                processes share.
//   Throughput - 64 KiB blocks written back to back, the reader confirming
//                every 64th.
//
// The channel's reader is a host as the engine would be: its main loop
// sleeps until the message center announces a message, then pops and
// handles it.

#include <ipc/CShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>
#include <message/IMessageCenterListener.h>
#include <platform/CWaitObject.h>
#include <text/CString.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using namespace Trell;

namespace {

using Clock = std::chrono::steady_clock;

const int DATA_FD = 3;  // writer -> reader, the pipe peer's data
const int REPLY_FD = 4; // reader -> writer, moments of arrival
const unsigned int BATCH = 64;

std::int64_t nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

bool readAll(int fd, void* pBuffer, std::size_t size)
{
    char* p = static_cast<char*>(pBuffer);
    while (size > 0) {
        const ssize_t got = read(fd, p, size);
        if (got <= 0)
            return false;
        p += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

bool writeAll(int fd, const void* pBuffer, std::size_t size)
{
    const char* p = static_cast<const char*>(pBuffer);
    while (size > 0) {
        const ssize_t put = write(fd, p, size);
        if (put <= 0)
            return false;
        p += put;
        size -= static_cast<std::size_t>(put);
    }
    return true;
}

// --- the reader process ------------------------------------------------------

class CReaderHost : public IMessageCenterListener, public IShareMemoryListener
{
    TRELL_DECLARE_ALLOCATOR(u"CReaderHost")

public:
    CReaderHost(unsigned int uiSize, unsigned int uiEvery) : m_buffer(uiSize), m_uiEvery(uiEvery) {}

    void onMessageAvailable() override { m_wake.notify(); }
    void onDataAvailable() override
    {
        m_pChannel->readData(m_buffer.data(), m_pChannel->getSize());
        arrived();
    }
    void onWritterClose() override { m_bDone = true; }

    // One whole block is here.
    void arrived()
    {
        if (++m_uiCount % m_uiEvery == 0) {
            const std::int64_t llNow = nowNs();
            if (!writeAll(REPLY_FD, &llNow, sizeof(llNow)))
                m_bDone = true;
        }
    }

    int runChannel(unsigned int uiKey)
    {
        CMessageCenter* pCenter = CMessageCenter::getInstance();
        pCenter->setListener(this);
        CShareMemory channel;
        m_pChannel = &channel;
        channel.setListener(this);
        if (!channel.open(uiKey, CShareMemory::MODE_TYPE_READER, static_cast<unsigned int>(m_buffer.size())))
            return 1;
        const char ready = 'r';
        writeAll(REPLY_FD, &ready, 1);
        while (!m_bDone) {
            while (CObjectPtr<CBaseMessage> pMessage = pCenter->popMessage())
                pMessage->handleMessage();
            if (!m_bDone)
                m_wake.wait(1000);
            // A writer that never said farewell: its end of the data pipe closed.
            pollfd fd = {DATA_FD, 0, 0};
            m_bDone = m_bDone || (poll(&fd, 1, 0) == 1 && (fd.revents & (POLLHUP | POLLERR)));
        }
        channel.close();
        pCenter->setListener(nullptr);
        return 0;
    }

    int runPipe()
    {
        const char ready = 'r';
        writeAll(REPLY_FD, &ready, 1);
        while (!m_bDone && readAll(DATA_FD, m_buffer.data(), m_buffer.size()))
            arrived();
        return 0;
    }

private:
    CWaitObject m_wake{CString()};
    CShareMemory* m_pChannel = nullptr;
    std::vector<unsigned char> m_buffer;
    unsigned int m_uiEvery;
    unsigned int m_uiCount = 0;
    bool m_bDone = false;
};

// --- the writer (this process) -----------------------------------------------

// The reader process, on two pipes.
class CReaderProcess
{
public:
    CReaderProcess(const char* pszPeer, unsigned int uiKey, unsigned int uiSize, unsigned int uiEvery)
    {
        int aiData[2], aiReply[2];
        if (pipe2(aiData, O_CLOEXEC) != 0 || pipe2(aiReply, O_CLOEXEC) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, aiData[0], DATA_FD);
        posix_spawn_file_actions_adddup2(&actions, aiReply[1], REPLY_FD);
        // Its log stays out of the report.
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        std::vector<std::string> args = {
            "bench_shm", "--reader", pszPeer, std::to_string(uiKey), std::to_string(uiSize), std::to_string(uiEvery)};
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        if (posix_spawn(&m_pid, "/proc/self/exe", &actions, nullptr, argv.data(), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(aiData[0]);
        close(aiReply[1]);
        m_iData = aiData[1];
        m_iReply = aiReply[0];
        char ready = 0;
        m_bReady = m_pid > 0 && readAll(m_iReply, &ready, 1) && ready == 'r';
    }
    ~CReaderProcess()
    {
        close(m_iData);
        if (m_pid > 0)
            waitpid(m_pid, nullptr, 0);
        close(m_iReply);
    }

    bool ready() const { return m_bReady; }
    int dataFd() const { return m_iData; }
    // The moment the reader reported, in nanoseconds; 0 when it is gone.
    std::int64_t nextArrival()
    {
        std::int64_t llAt = 0;
        return readAll(m_iReply, &llAt, sizeof(llAt)) ? llAt : 0;
    }

private:
    pid_t m_pid = -1;
    int m_iData = -1;
    int m_iReply = -1;
    bool m_bReady = false;
};

unsigned int nextKey()
{
    static unsigned int s_uiCounter = 0;
    return 0x50000000u | ((static_cast<unsigned int>(getpid()) & 0xFFFFFu) << 8) | (++s_uiCounter & 0xFFu);
}

// Latencies of one run, reported as percentiles in microseconds.
class CLatencies
{
public:
    void add(std::int64_t llNs)
    {
        if (m_times.size() < (1u << 20))
            m_times.push_back(static_cast<double>(llNs) / 1000.0);
    }
    void report(benchmark::State& state)
    {
        if (m_times.empty())
            return;
        std::sort(m_times.begin(), m_times.end());
        state.counters["p50_us"] = m_times[m_times.size() / 2];
        state.counters["p99_us"] = m_times[m_times.size() * 99 / 100];
        state.counters["p999_us"] = m_times[m_times.size() * 999 / 1000];
        state.counters["max_us"] = m_times.back();
    }

private:
    std::vector<double> m_times;
};

// Writes one block as soon as the channel takes it; the moment of the
// accepted attempt, in nanoseconds.
std::int64_t writeBlock(CShareMemory& writer, const std::vector<unsigned char>& block)
{
    for (;;) {
        const std::int64_t llStart = nowNs();
        if (writer.writeData(block.data(), static_cast<unsigned int>(block.size())))
            return llStart;
        std::this_thread::yield();
    }
}

void BM_Latency_ShareMemory(benchmark::State& state)
{
    const unsigned int uiSize = static_cast<unsigned int>(state.range(0));
    const unsigned int uiKey = nextKey();
    CReaderProcess reader("channel", uiKey, uiSize, 1);
    CShareMemory writer;
    if (!reader.ready() || !writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize)) {
        state.SkipWithError("reader or writer did not open");
        return;
    }
    const std::vector<unsigned char> block(uiSize, 0x5A);
    CLatencies latencies;
    for (auto _ : state) {
        const std::int64_t llStart = writeBlock(writer, block);
        const std::int64_t llArrived = reader.nextArrival();
        if (llArrived == 0) {
            state.SkipWithError("reader gone");
            break;
        }
        latencies.add(llArrived - llStart);
        state.SetIterationTime(static_cast<double>(llArrived - llStart) / 1e9);
    }
    latencies.report(state);
    writer.close();
}
BENCHMARK(BM_Latency_ShareMemory)->Arg(64)->Arg(64 << 10)->UseManualTime();

void BM_Latency_Pipe(benchmark::State& state)
{
    const unsigned int uiSize = static_cast<unsigned int>(state.range(0));
    CReaderProcess reader("pipe", 0, uiSize, 1);
    if (!reader.ready()) {
        state.SkipWithError("reader did not start");
        return;
    }
    const std::vector<unsigned char> block(uiSize, 0x5A);
    CLatencies latencies;
    for (auto _ : state) {
        const std::int64_t llStart = nowNs();
        const std::int64_t llArrived = writeAll(reader.dataFd(), block.data(), block.size()) ? reader.nextArrival() : 0;
        if (llArrived == 0) {
            state.SkipWithError("reader gone");
            break;
        }
        latencies.add(llArrived - llStart);
        state.SetIterationTime(static_cast<double>(llArrived - llStart) / 1e9);
    }
    latencies.report(state);
}
BENCHMARK(BM_Latency_Pipe)->Arg(64)->Arg(64 << 10)->UseManualTime();

void BM_Throughput_ShareMemory(benchmark::State& state)
{
    const unsigned int uiSize = static_cast<unsigned int>(state.range(0));
    const unsigned int uiKey = nextKey();
    CReaderProcess reader("channel", uiKey, uiSize, BATCH);
    CShareMemory writer;
    if (!reader.ready() || !writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize)) {
        state.SkipWithError("reader or writer did not open");
        return;
    }
    const std::vector<unsigned char> block(uiSize, 0x5A);
    for (auto _ : state) {
        for (unsigned int i = 0; i < BATCH; ++i)
            writeBlock(writer, block);
        if (reader.nextArrival() == 0) {
            state.SkipWithError("reader gone");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * BATCH * uiSize);
    writer.close();
}
BENCHMARK(BM_Throughput_ShareMemory)->Arg(64 << 10)->UseRealTime();

void BM_Throughput_Pipe(benchmark::State& state)
{
    const unsigned int uiSize = static_cast<unsigned int>(state.range(0));
    CReaderProcess reader("pipe", 0, uiSize, BATCH);
    if (!reader.ready()) {
        state.SkipWithError("reader did not start");
        return;
    }
    const std::vector<unsigned char> block(uiSize, 0x5A);
    for (auto _ : state) {
        bool bSent = true;
        for (unsigned int i = 0; i < BATCH && bSent; ++i)
            bSent = writeAll(reader.dataFd(), block.data(), block.size());
        if (!bSent || reader.nextArrival() == 0) {
            state.SkipWithError("reader gone");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * BATCH * uiSize);
}
BENCHMARK(BM_Throughput_Pipe)->Arg(64 << 10)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    // The reader process: --reader <channel|pipe> <key> <size> <every>.
    if (argc == 6 && std::strcmp(argv[1], "--reader") == 0) {
        const unsigned int uiKey = static_cast<unsigned int>(std::strtoul(argv[3], nullptr, 10));
        CReaderHost host(static_cast<unsigned int>(std::strtoul(argv[4], nullptr, 10)),
                         static_cast<unsigned int>(std::strtoul(argv[5], nullptr, 10)));
        return std::strcmp(argv[2], "channel") == 0 ? host.runChannel(uiKey) : host.runPipe();
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

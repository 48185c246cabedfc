// End to end through the reference host: a "touch_input" frame written by a
// remote controller's socket, through the data transfer server's thread, the
// message center and the main loop, to the host's handler
// (CHostApp::onTouchInputAvailable). One frame in flight at a time, so each
// sample is one frame's latency. Beside it, in the same program, the raw
// loopback round trip of the same bytes between two plain sockets: the floor
// any remote control over TCP pays.
//
// Counters: p50_us and p99_us over FRAMES samples; the ratio of the two
// benchmarks' p50 is the cost of the protocol and the main loop over the wire.

#include "CHostApp.h"

#include <HeadlessSurface.h>
#include <input/CCursor.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
const unsigned int FRAMES = 10000;

// A frame as the remote tool writes it: header, XML text, closing zero byte.
std::string frame(const std::string& strXml)
{
    std::string out = "IVEN";
    out += '\0';
    const unsigned int uiLength = static_cast<unsigned int>(strXml.size() + 1);
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>(uiLength >> (8 * i));
    out += '\1';
    out += strXml;
    out += '\0';
    return out;
}

std::string touchFrame(unsigned int uiId, unsigned int uiStatus, int iX, int iY)
{
    return frame("<?xml version=\"1.0\" encoding=\"UTF-8\"?><root><touch_input id=\"" + std::to_string(uiId) +
                 "\" time_stamp=\"0\" touch_status=\"" + std::to_string(uiStatus) + "\" x=\"" + std::to_string(iX) +
                 "\" x_delta=\"0\" x_speed=\"0\" y=\"" + std::to_string(iY) +
                 "\" y_delta=\"0\" y_speed=\"0\"/></root>");
}

int connectTo(unsigned short usPort)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    for (int attempt = 0; attempt < 500; ++attempt) {
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0) {
            const int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
            return fd;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::close(fd);
    return -1;
}

// A listening socket on a free loopback port.
int listenOnFreePort(unsigned short& usPort)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    ::listen(fd, 1);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    usPort = ntohs(address.sin_port);
    return fd;
}

bool sendAll(int fd, const std::string& strData)
{
    size_t uiSent = 0;
    while (uiSent < strData.size()) {
        const ssize_t iDone = ::send(fd, strData.data() + uiSent, strData.size() - uiSent, MSG_NOSIGNAL);
        if (iDone <= 0)
            return false;
        uiSent += static_cast<size_t>(iDone);
    }
    return true;
}

bool receiveAll(int fd, char* pBuffer, size_t uiSize)
{
    size_t uiDone = 0;
    while (uiDone < uiSize) {
        const ssize_t iRead = ::recv(fd, pBuffer + uiDone, uiSize - uiDone, 0);
        if (iRead <= 0)
            return false;
        uiDone += static_cast<size_t>(iRead);
    }
    return true;
}

// A project folder with a configuration of one touch surface and a quiet
// console; removed again by the caller.
std::string makeProject()
{
    char szTemplate[] = "/tmp/bench_host.XXXXXX";
    const char* pszFolder = ::mkdtemp(szTemplate);
    if (!pszFolder)
        return std::string();
    const std::string strFolder = pszFolder;
    std::FILE* pFile = std::fopen((strFolder + "/engine-config.xml").c_str(), "w");
    if (!pFile)
        return std::string();
    std::fputs("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<engine>"
               "<log_output terminal=\"false\"/><surface_set><surface use=\"true\" name=\"main\" width=\"800\" "
               "height=\"480\" enable_touch=\"true\"/></surface_set></engine>\n",
               pFile);
    std::fclose(pFile);
    return strFolder;
}

void report(benchmark::State& state, std::vector<double>& samples)
{
    if (samples.empty()) {
        state.SkipWithError("no samples");
        return;
    }
    std::sort(samples.begin(), samples.end());
    state.counters["p50_us"] = samples[samples.size() / 2];
    state.counters["p99_us"] = samples[samples.size() * 99 / 100];
    state.counters["frames"] = static_cast<double>(samples.size());
}

void BM_HostTouchInput(benchmark::State& state)
{
    for (auto _ : state) {
        unsigned short usPort = 0;
        ::close(listenOnFreePort(usPort));
        std::FILE* pOut = std::fopen("/dev/null", "w");
        Headless::CHeadlessPlatformFactory factory;
        Host::CHostApp app(pOut);
        std::vector<Clock::time_point> handled(FRAMES);
        std::atomic<unsigned int> uiHandled{0};
        // Frame ids are 1..FRAMES.
        app.setTouchInputHook([&](const Trell::CCursor& cursor) {
            const unsigned int uiId = cursor.getID();
            if (uiId >= 1 && uiId <= FRAMES) {
                handled[uiId - 1] = Clock::now();
                uiHandled.store(uiId, std::memory_order_release);
            }
        });
        Host::tagHostOptions options;
        options.uiPort = usPort;
        options.strProjectFolder = makeProject();
        if (!app.startUp(options, &factory)) {
            state.SkipWithError("host did not start");
            break;
        }
        std::vector<Clock::time_point> sent(FRAMES);
        std::thread remote([&]() {
            const int fd = connectTo(usPort);
            if (fd >= 0) {
                for (unsigned int i = 1; i <= FRAMES; ++i) {
                    const std::string strFrame =
                        touchFrame(i, i == 1 ? 1 : (i == FRAMES ? 3 : 2), 100 + static_cast<int>(i % 200), 200);
                    sent[i - 1] = Clock::now();
                    if (!sendAll(fd, strFrame))
                        break;
                    while (uiHandled.load(std::memory_order_acquire) < i)
                        std::this_thread::yield();
                }
                sendAll(fd, frame("<?xml version=\"1.0\" encoding=\"UTF-8\"?><quit/>"));
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
                ::close(fd);
            } else {
                app.requestQuit("no connection");
            }
        });
        app.run();
        remote.join();
        app.shutDown();
        std::fclose(pOut);
        std::remove((options.strProjectFolder + "/engine-config.xml").c_str());
        ::rmdir(options.strProjectFolder.c_str());
        std::vector<double> samples;
        for (unsigned int i = 0; i < uiHandled.load(); ++i)
            samples.push_back(std::chrono::duration<double, std::micro>(handled[i] - sent[i]).count());
        report(state, samples);
    }
}
BENCHMARK(BM_HostTouchInput)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// The peer: the same frame bytes there and back between two plain sockets.
void BM_RawLoopbackRoundTrip(benchmark::State& state)
{
    for (auto _ : state) {
        unsigned short usPort = 0;
        const int listener = listenOnFreePort(usPort);
        const std::string strFrame = touchFrame(1234, 2, 123, 200);
        std::thread echo([&]() {
            const int fd = ::accept(listener, nullptr, nullptr);
            const int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
            std::vector<char> buffer(strFrame.size());
            while (receiveAll(fd, buffer.data(), buffer.size()) &&
                   sendAll(fd, std::string(buffer.begin(), buffer.end()))) {
            }
            ::close(fd);
        });
        const int fd = connectTo(usPort);
        std::vector<char> buffer(strFrame.size());
        std::vector<double> samples;
        samples.reserve(FRAMES);
        for (unsigned int i = 0; i < FRAMES; ++i) {
            const Clock::time_point start = Clock::now();
            if (!sendAll(fd, strFrame) || !receiveAll(fd, buffer.data(), buffer.size()))
                break;
            samples.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        }
        ::close(fd);
        echo.join();
        ::close(listener);
        report(state, samples);
    }
}
BENCHMARK(BM_RawLoopbackRoundTrip)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();

// The TCP channel beside plain sockets on the same loopback, in one program:
//
// - Round trip: a "touch_input" frame sent by CDataTransfer, echoed by a
//   plain socket thread, reassembled, queued and delivered to the listener on
//   this (main) thread; beside a plain blocking ping-pong of the same byte
//   count against the same kind of echo thread, and beside that ping-pong
//   with the reply handed from a reader thread to this one (the framed
//   path's own thread hop, without the library).
// - Bulk: raw bytes from a blocking CSocketClient to a CSocketServer whose
//   listener counts them; beside a plain blocking socket pair, sender and
//   counting receiver thread, with the same chunk size.

#include <input/CCursor.h>
#include <ipc/CDataTransfer.h>
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/IDataTransferListener.h>
#include <ipc/ISocketServerListener.h>
#include <message/CMessageCenter.h>
#include <message/IMessageCenterListener.h>
#include <platform/CWaitObject.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Trell;

namespace {

const unsigned int kChunk = 1048576;
const unsigned long long kBulkBytes = 256ull * kChunk;

int listenLoopback(unsigned short& usPort)
{
    const int iFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int iOn = 1;
    ::setsockopt(iFd, SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof(iOn));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(iFd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    ::listen(iFd, 1);
    socklen_t length = sizeof(address);
    ::getsockname(iFd, reinterpret_cast<sockaddr*>(&address), &length);
    usPort = ntohs(address.sin_port);
    return iFd;
}

int connectLoopback(unsigned short usPort)
{
    const int iFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::connect(iFd, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    return iFd;
}

void noDelay(int iFd)
{
    const int iOn = 1;
    ::setsockopt(iFd, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof(iOn));
}

// Accepts one connection and sends back whatever arrives until it closes.
class CEcho
{
public:
    CEcho()
    {
        m_iListen = listenLoopback(m_usPort);
        m_thread = std::thread([this] {
            const int iFd = ::accept4(m_iListen, nullptr, nullptr, SOCK_CLOEXEC);
            noDelay(iFd);
            char buffer[65536];
            for (;;) {
                const ssize_t n = ::recv(iFd, buffer, sizeof(buffer), 0);
                if (n <= 0 || ::send(iFd, buffer, static_cast<size_t>(n), MSG_NOSIGNAL) != n)
                    break;
                m_ullEchoed.fetch_add(static_cast<unsigned long long>(n));
            }
            ::close(iFd);
        });
    }
    ~CEcho()
    {
        ::shutdown(m_iListen, SHUT_RDWR);
        m_thread.join();
        ::close(m_iListen);
    }
    unsigned short port() const { return m_usPort; }
    unsigned long long echoed() const { return m_ullEchoed.load(); }

private:
    std::atomic<unsigned long long> m_ullEchoed{0};
    int m_iListen = -1;
    unsigned short m_usPort = 0;
    std::thread m_thread;
};

// Wakes the main loop when a message is queued.
class CWakeListener : public IMessageCenterListener
{
public:
    CWakeListener() : m_wake(CString()) {}
    void onMessageAvailable() override { m_wake.notify(); }
    CWaitObject m_wake;
};

class CTouchListener : public IDataTransferListener
{
public:
    void onConnect() override { m_bConnected = true; }
    void onTouchInputAvailable(const CCursor& cursor) override { m_uiLastID = cursor.getID(); }
    bool m_bConnected = false;
    unsigned int m_uiLastID = 0;
};

// The byte count of one framed touch_input, as sent for the peer.
size_t g_frameBytes = 0;

// state.range(0): 0, the main loop sleeps until a message is queued; 1, it
// polls the queue without sleeping (a host that spins its loop).
void BM_FramedRoundTrip(benchmark::State& state)
{
    const bool bPoll = state.range(0) != 0;
    CWakeListener wake;
    CMessageCenter::getInstance()->setListener(&wake);
    CEcho echo;
    CTouchListener heard;
    CDataTransfer transfer;
    transfer.setListener(&heard);
    transfer.openAsClient(u"127.0.0.1", echo.port());
    while (!heard.m_bConnected) {
        wake.m_wake.wait(100);
        while (CObjectPtr<CBaseMessage> p = CMessageCenter::getInstance()->popMessage())
            p->handleMessage();
    }
    CCursor cursor;
    cursor.setTouchStatus(CCursor::TOUCH_STATUS_MOVE);
    cursor.setX(640);
    cursor.setY(360);
    unsigned int uiID = 0;
    for (auto _ : state) {
        cursor.setID(++uiID);
        transfer.sendTouchInput(cursor);
        while (heard.m_uiLastID != uiID) {
            CObjectPtr<CBaseMessage> p = CMessageCenter::getInstance()->popMessage();
            if (p)
                p->handleMessage();
            else if (!bPoll)
                wake.m_wake.wait(0);
        }
    }
    transfer.close();
    CMessageCenter::getInstance()->setListener(nullptr);
    CMessageCenter::getInstance()->clearMessageList();
    // The raw peer sends as many bytes per round trip as the frames took.
    if (state.iterations() > 0)
        g_frameBytes = static_cast<size_t>(echo.echoed() / state.iterations());
    state.SetLabel(std::to_string(g_frameBytes) + " bytes per frame");
}

void BM_PeerRawPingPong(benchmark::State& state)
{
    CEcho echo;
    const int iFd = connectLoopback(echo.port());
    noDelay(iFd);
    const size_t size = g_frameBytes ? g_frameBytes : 230;
    std::vector<char> out(size, 'x'), in(size);
    for (auto _ : state) {
        ::send(iFd, out.data(), size, MSG_NOSIGNAL);
        size_t got = 0;
        while (got < size) {
            const ssize_t n = ::recv(iFd, in.data() + got, size - got, 0);
            if (n <= 0)
                break;
            got += static_cast<size_t>(n);
        }
    }
    ::close(iFd);
    state.SetLabel(std::to_string(size) + " bytes");
}

// The same ping-pong with the thread hop the framed path has by design: a
// reader thread takes each reply off the socket and wakes this thread with
// the wait object the framed benchmark's main loop sleeps on.
void BM_PeerRawPingPongHandOff(benchmark::State& state)
{
    CEcho echo;
    const int iFd = connectLoopback(echo.port());
    noDelay(iFd);
    const size_t size = g_frameBytes ? g_frameBytes : 230;
    std::vector<char> out(size, 'x');
    CWaitObject wake{CString()};
    std::atomic<unsigned long long> replies{0};
    std::thread reader([&] {
        std::vector<char> in(size);
        for (size_t got = 0;;) {
            const ssize_t n = ::recv(iFd, in.data() + got, size - got, 0);
            if (n <= 0)
                break;
            got += static_cast<size_t>(n);
            if (got == size) {
                got = 0;
                replies.fetch_add(1);
                wake.notify();
            }
        }
    });
    unsigned long long ullSent = 0;
    for (auto _ : state) {
        ::send(iFd, out.data(), size, MSG_NOSIGNAL);
        ++ullSent;
        while (replies.load() != ullSent)
            wake.wait(0);
    }
    ::shutdown(iFd, SHUT_RDWR);
    reader.join();
    ::close(iFd);
    state.SetLabel(std::to_string(size) + " bytes");
}

// Counts what the server receives and wakes the sender at the goal.
class CCountingListener : public ISocketServerListener
{
public:
    void onConnect(CSocketServer*, unsigned int) override { m_bConnected = true; }
    void onDisconnect(CSocketServer*, unsigned int) override {}
    void onDataAvailable(CSocketServer*, unsigned int, unsigned char*, int iLength) override
    {
        m_ullBytes.fetch_add(static_cast<unsigned long long>(iLength), std::memory_order_relaxed);
    }
    std::atomic<bool> m_bConnected{false};
    std::atomic<unsigned long long> m_ullBytes{0};
};

void BM_BulkRawThroughEndpoints(benchmark::State& state)
{
    CCountingListener counter;
    CSocketServer server(0, 0);
    server.setBindAddress(u"127.0.0.1");
    server.setListener(&counter);
    server.start();
    while (server.getListeningPort() == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    CSocketClient client(u"127.0.0.1", server.getListeningPort(), false, 0);
    client.start(true);
    while (!client.isConnect() || !counter.m_bConnected)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::vector<unsigned char> chunk(kChunk, 0x5A);
    unsigned long long ullGoal = 0;
    for (auto _ : state) {
        for (unsigned long long sent = 0; sent < kBulkBytes;) {
            const int n = client.sendData(chunk.data(), kChunk);
            if (n <= 0)
                state.SkipWithError("send failed");
            sent += n > 0 ? static_cast<unsigned long long>(n) : kBulkBytes;
            ullGoal += n > 0 ? static_cast<unsigned long long>(n) : 0;
        }
        while (counter.m_ullBytes.load(std::memory_order_relaxed) < ullGoal)
            std::this_thread::yield();
    }
    state.SetBytesProcessed(static_cast<int64_t>(ullGoal));
    client.stop();
    server.stop();
}

void BM_PeerBulkPlainSockets(benchmark::State& state)
{
    unsigned short usPort = 0;
    const int iListen = listenLoopback(usPort);
    std::atomic<unsigned long long> received{0};
    std::thread receiver([&] {
        const int iFd = ::accept4(iListen, nullptr, nullptr, SOCK_CLOEXEC);
        std::vector<unsigned char> buffer(kChunk);
        for (;;) {
            const ssize_t n = ::recv(iFd, buffer.data(), buffer.size(), 0);
            if (n <= 0)
                break;
            received.fetch_add(static_cast<unsigned long long>(n), std::memory_order_relaxed);
        }
        ::close(iFd);
    });
    const int iFd = connectLoopback(usPort);
    std::vector<unsigned char> chunk(kChunk, 0x5A);
    unsigned long long ullGoal = 0;
    for (auto _ : state) {
        for (unsigned long long sent = 0; sent < kBulkBytes;) {
            const ssize_t n = ::send(iFd, chunk.data(), kChunk, MSG_NOSIGNAL);
            if (n <= 0)
                state.SkipWithError("send failed");
            sent += n > 0 ? static_cast<unsigned long long>(n) : kBulkBytes;
            ullGoal += n > 0 ? static_cast<unsigned long long>(n) : 0;
        }
        while (received.load(std::memory_order_relaxed) < ullGoal)
            std::this_thread::yield();
    }
    state.SetBytesProcessed(static_cast<int64_t>(ullGoal));
    ::close(iFd);
    receiver.join();
    ::close(iListen);
}

} // namespace

BENCHMARK(BM_FramedRoundTrip)->Arg(0)->Arg(1)->UseRealTime();
BENCHMARK(BM_PeerRawPingPong)->UseRealTime();
BENCHMARK(BM_PeerRawPingPongHandOff)->UseRealTime();
BENCHMARK(BM_BulkRawThroughEndpoints)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PeerBulkPlainSockets)->UseRealTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

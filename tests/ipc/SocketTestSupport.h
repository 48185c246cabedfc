#pragma once

// Shared pieces of the socket and data transfer tests: recorders for the
// listeners and the log, plain BSD sockets as the far side, a clock the test
// drives for the heartbeat, and a main loop on the test thread.

#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/ISocketClientListener.h>
#include <ipc/ISocketServerListener.h>
#include <message/CMessageCenter.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>
#include <text/CString.h>
#include <timer/CTimerManager.h>

#include "message/TickClock.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <linux/tcp.h> // tcp_info with the byte counters
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace IpcTest {

using namespace Trell;
using namespace std::chrono_literals;
using namespace std::string_literals;

inline std::string toUtf8(const CString& text)
{
    std::string out;
    for (unsigned int i = 0; i < text.length(); ++i)
        out += static_cast<char>(text.charAt(i) < 0x80 ? text.charAt(i) : '?');
    return out;
}

// Every log entry, from any thread.
class CLogRecorder : public ILogOuter
{
public:
    CLogRecorder() { CLog::setLogOuter(this); }
    ~CLogRecorder() override { CLog::setLogOuter(nullptr); }

    void outputLog(const CString& level, const CString&, const CString& message) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.push_back("[" + toUtf8(level) + "] " + toUtf8(message));
    }
    std::vector<std::string> lines() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_lines;
    }
    unsigned int count(const std::string& line) const
    {
        unsigned int n = 0;
        for (const std::string& l : lines())
            n += l == line ? 1 : 0;
        return n;
    }
    unsigned int countPrefix(const std::string& prefix) const
    {
        unsigned int n = 0;
        for (const std::string& l : lines())
            n += l.compare(0, prefix.size(), prefix) == 0 ? 1 : 0;
        return n;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

// What an endpoint's listener heard: 'c' connect, 'd' disconnect, 'r' a
// received chunk.
struct tagEvent
{
    char cKind;
    unsigned int uiClient;
    std::string bytes;
};

class CRecorder
{
public:
    void add(char cKind, unsigned int uiClient, const unsigned char* pData = nullptr, int iLength = 0)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_events.push_back({cKind, uiClient, std::string(reinterpret_cast<const char*>(pData), pData ? iLength : 0)});
    }
    std::vector<tagEvent> events() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_events;
    }
    unsigned int count(char cKind) const
    {
        unsigned int n = 0;
        for (const tagEvent& e : events())
            n += e.cKind == cKind ? 1 : 0;
        return n;
    }
    // Every received byte, in order.
    std::string received() const
    {
        std::string all;
        for (const tagEvent& e : events())
            all += e.cKind == 'r' ? e.bytes : std::string();
        return all;
    }
    bool waitFor(char cKind, unsigned int uiCount) const
    {
        return waitUntil([&] { return count(cKind) >= uiCount; }, 20s);
    }
    bool waitForBytes(size_t size) const
    {
        return waitUntil([&] { return received().size() >= size; }, 20s);
    }

private:
    mutable std::mutex m_mutex;
    std::vector<tagEvent> m_events;
};

class CClientRecorder : public ISocketClientListener, public CRecorder
{
public:
    void onConnect(CSocketClient*) override { add('c', 0); }
    void onDisconnect(CSocketClient*) override { add('d', 0); }
    void onDataAvailable(CSocketClient*, unsigned char* pData, int iLength) override { add('r', 0, pData, iLength); }
};

class CServerRecorder : public ISocketServerListener, public CRecorder
{
public:
    void onConnect(CSocketServer*, unsigned int uiClient) override { add('c', uiClient); }
    void onDisconnect(CSocketServer*, unsigned int uiClient) override { add('d', uiClient); }
    void onDataAvailable(CSocketServer*, unsigned int uiClient, unsigned char* pData, int iLength) override
    {
        add('r', uiClient, pData, iLength);
    }
};

// ---- plain sockets on the loopback ------------------------------------------

// A descriptor closed at the end of its scope.
class CFd
{
public:
    explicit CFd(int iFd = -1) : m_iFd(iFd) {}
    ~CFd() { reset(); }
    CFd(CFd&& other) noexcept : m_iFd(other.m_iFd) { other.m_iFd = -1; }
    CFd& operator=(CFd&& other) noexcept
    {
        std::swap(m_iFd, other.m_iFd);
        return *this;
    }
    void reset()
    {
        if (m_iFd >= 0)
            ::close(m_iFd);
        m_iFd = -1;
    }
    int get() const { return m_iFd; }
    bool valid() const { return m_iFd >= 0; }

private:
    int m_iFd;
};

inline unsigned short localPort(int iFd)
{
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    ::getsockname(iFd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

inline unsigned short peerPort(int iFd)
{
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    ::getpeername(iFd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

// A listening socket on 127.0.0.1 with a port of the system's choice.
inline CFd rawListen(unsigned short& usPort)
{
    CFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int iOn = 1;
    ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof(iOn));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(0, ::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)));
    EXPECT_EQ(0, ::listen(fd.get(), 4));
    usPort = localPort(fd.get());
    return fd;
}

// Accepts within the deadline; invalid when nobody came.
inline CFd rawAccept(int iListen, std::chrono::milliseconds deadline = 20s)
{
    pollfd wait{iListen, POLLIN, 0};
    if (::poll(&wait, 1, static_cast<int>(deadline.count())) != 1)
        return CFd();
    return CFd(::accept4(iListen, nullptr, nullptr, SOCK_CLOEXEC));
}

inline CFd rawConnect(unsigned short usPort)
{
    CFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
        return CFd();
    const int iOn = 1;
    ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof(iOn));
    return fd;
}

inline bool rawSend(int iFd, const std::string& bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(iFd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        sent += static_cast<size_t>(n);
    }
    return true;
}

// Reads until `size` bytes came, the peer closed or the deadline passed.
inline std::string rawReceive(int iFd, size_t size, std::chrono::milliseconds deadline = 20s)
{
    std::string out;
    const auto end = std::chrono::steady_clock::now() + deadline;
    char buffer[65536];
    while (out.size() < size) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd wait{iFd, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&wait, 1, static_cast<int>(left.count())) != 1)
            break;
        const ssize_t n = ::recv(iFd, buffer, std::min(sizeof(buffer), size - out.size()), 0);
        if (n <= 0)
            break;
        out.append(buffer, static_cast<size_t>(n));
    }
    return out;
}

// Whether the peer has closed (EOF within the deadline).
inline bool rawPeerClosed(int iFd, std::chrono::milliseconds deadline = 20s)
{
    pollfd wait{iFd, POLLIN, 0};
    char c;
    return ::poll(&wait, 1, static_cast<int>(deadline.count())) == 1 && ::recv(iFd, &c, 1, MSG_PEEK) == 0;
}

// The descriptor of this process whose socket is bound to `usPort` locally
// and connected to `usPeer` (0: connected to nothing, a listening socket):
// the library's own end of a connection, found so that a test can tell when
// the endpoint has read everything sent to it.
inline int findOwnSocket(unsigned short usPort, unsigned short usPeer)
{
    for (int iFd = 3; iFd < 4096; ++iFd) {
        sockaddr_in local{}, peer{};
        socklen_t l1 = sizeof(local), l2 = sizeof(peer);
        if (::getsockname(iFd, reinterpret_cast<sockaddr*>(&local), &l1) != 0 || local.sin_family != AF_INET ||
            ntohs(local.sin_port) != usPort)
            continue;
        const bool bConnected = ::getpeername(iFd, reinterpret_cast<sockaddr*>(&peer), &l2) == 0;
        if (bConnected ? ntohs(peer.sin_port) == usPeer : usPeer == 0)
            return iFd;
    }
    return -1;
}

// Bytes the system has received on a socket of this process.
inline unsigned long long bytesReceived(int iFd)
{
    tcp_info info{};
    socklen_t length = sizeof(info);
    ::getsockopt(iFd, IPPROTO_TCP, TCP_INFO, &info, &length);
    return info.tcpi_bytes_received;
}

// Bytes waiting in a socket of this process for its reader.
inline int bytesQueued(int iFd)
{
    int iQueued = -1;
    ::ioctl(iFd, FIONREAD, &iQueued);
    return iQueued;
}

// Waits until the far end of our raw socket `iRaw` has received everything
// we sent and its reader has taken it out of the socket.
inline bool waitConsumed(int iRaw, unsigned long long ullSent)
{
    const int iOwn = findOwnSocket(peerPort(iRaw), localPort(iRaw));
    if (iOwn < 0)
        return false;
    return waitUntil([&] { return bytesReceived(iOwn) >= ullSent && bytesQueued(iOwn) == 0; }, 20s);
}

// ---- time and the main loop -------------------------------------------------

inline std::atomic<unsigned int> g_uiFakeNow{1000};
// Every read after the timers are started comes from a check of the timer
// thread, so the reads count its checks.
inline std::atomic<unsigned int> g_uiClockReads{0};
inline unsigned int fakeClock()
{
    g_uiClockReads.fetch_add(1);
    return g_uiFakeNow.load();
}

// Waits until the timer thread has made a few more checks.
inline bool waitForChecks(unsigned int uiChecks = 3)
{
    const unsigned int uiStart = g_uiClockReads.load();
    return waitUntil([&] { return g_uiClockReads.load() >= uiStart + uiChecks + 1; }, 20s);
}

// Drives the timers with a clock the test moves, on the real timer manager.
class CFakeTime
{
public:
    CFakeTime()
    {
        TickClock::setSource(fakeClock);
        CMessageCenter::getInstance();
        CTimerManager::getInstance()->start();
    }
    ~CFakeTime()
    {
        CTimerManager::getInstance()->stop();
        CTimerManager::deleteInstance();
        CMessageCenter::getInstance()->clearMessageList();
        TickClock::setSource(nullptr);
    }
    void advance(unsigned int uiMilliseconds) { g_uiFakeNow.fetch_add(uiMilliseconds); }
};

// Pops and handles everything queued now, as the host's main loop does.
inline unsigned int pumpMessages()
{
    unsigned int n = 0;
    while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage()) {
        pMessage->handleMessage();
        ++n;
    }
    return n;
}

template <class TCondition>
bool pumpUntil(TCondition condition, std::chrono::seconds deadline = 20s)
{
    return waitUntil([&] { return pumpMessages(), condition(); }, deadline);
}

} // namespace IpcTest

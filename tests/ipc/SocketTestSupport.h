#pragma once

// Shared pieces of the channel tests: recorders for the listeners and the
// log, and (not on Windows) plain sockets as the far side, frames built by
// hand, and the main loop on the test thread.

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <input/CCursor.h>
#include <ipc/CDataTransfer.h>
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/IDataTransferListener.h>
#include <message/CMessageCenter.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>

#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#ifndef _WIN32 // the plain sockets of the far side are BSD sockets
#include <arpa/inet.h>
#include <linux/tcp.h> // tcp_info with the byte counters
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace IpcTest {

using namespace Trell;
using namespace std::chrono_literals;
using namespace std::string_literals;

inline const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

// Lines as text under a lock, from any thread.
class CLines
{
public:
    void add(const std::string& line)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.push_back(line);
    }
    std::vector<std::string> lines() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_lines;
    }
    // The lines that hold `text`.
    unsigned int count(const std::string& text) const
    {
        unsigned int n = 0;
        for (const std::string& l : lines())
            n += l.find(text) != std::string::npos ? 1 : 0;
        return n;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_lines;
};

// Every log line as "[Level] message".
class CLogRecorder : public ILogOuter, public CLines
{
public:
    CLogRecorder() { CLog::setLogOuter(this); }
    ~CLogRecorder() override { CLog::setLogOuter(nullptr); }
    void outputLog(const CString& level, const CString&, const CString& message) override
    {
        add("[" + narrow(level) + "] " + narrow(message));
    }
};

inline std::string hex8(unsigned int uiValue)
{
    char sz[16];
    std::snprintf(sz, sizeof(sz), "0x%08X", uiValue);
    return sz;
}

// What an endpoint's listener heard, in order: "c" connect, "d" disconnect
// (a server's with the client handle as "0x%08X"), "r" and a received chunk.
class CSocketRecorder : public ISocketClientListener, public ISocketServerListener, public CLines
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketRecorder")

public:
    void onConnect(CSocketClient*) override { add("c"); }
    void onDisconnect(CSocketClient*) override { add("d"); }
    void onDataAvailable(CSocketClient*, unsigned char* pData, int iLength) override { received(pData, iLength); }
    void onConnect(CSocketServer*, unsigned int uiClient) override { add("c" + hex8(uiClient)); }
    void onDisconnect(CSocketServer*, unsigned int uiClient) override { add("d" + hex8(uiClient)); }
    void onDataAvailable(CSocketServer*, unsigned int, unsigned char* pData, int iLength) override
    {
        received(pData, iLength);
    }
    bool waitFor(char cKind, unsigned int uiCount) const
    {
        return waitUntil([&] {
            unsigned int n = 0;
            for (const std::string& l : lines())
                n += l[0] == cKind ? 1 : 0;
            return n >= uiCount;
        });
    }
    // Every received chunk, in order, as one string.
    std::string received() const
    {
        std::string all;
        for (const std::string& l : lines())
            all += l[0] == 'r' ? l.substr(1) : "";
        return all;
    }

private:
    void received(const unsigned char* pData, int iLength)
    {
        add("r" + std::string(reinterpret_cast<const char*>(pData), iLength));
    }
};

#ifndef _WIN32
// ---- plain sockets on the loopback ------------------------------------------

// A descriptor closed at the end of its scope.
class CFd
{
public:
    explicit CFd(int iFd = -1) : m_iFd(iFd) {}
    CFd(CFd&& other) noexcept : m_iFd(std::exchange(other.m_iFd, -1)) {}
    CFd& operator=(CFd&& other) noexcept
    {
        std::swap(m_iFd, other.m_iFd);
        return *this;
    }
    ~CFd() { reset(); }
    void reset()
    {
        if (m_iFd >= 0)
            ::close(std::exchange(m_iFd, -1));
    }
    int get() const { return m_iFd; }

private:
    int m_iFd;
};

// The local (or the peer's) port of a socket.
inline unsigned short portOf(int iFd, bool bPeer = false)
{
    sockaddr_in address{};
    socklen_t length = sizeof(address);
    (bPeer ? ::getpeername : ::getsockname)(iFd, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

// A socket on 127.0.0.1 connected to `usPort`, or (0) bound to a port of the
// system's choice, returned there, and listening.
inline CFd rawSocket(unsigned short& usPort)
{
    CFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const sockaddr* pAddress = reinterpret_cast<const sockaddr*>(&address);
    if (usPort != 0)
        return ::connect(fd.get(), pAddress, sizeof(address)) == 0 ? std::move(fd) : CFd();
    EXPECT_EQ(0, ::bind(fd.get(), pAddress, sizeof(address)));
    EXPECT_EQ(0, ::listen(fd.get(), 4));
    usPort = portOf(fd.get());
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

inline bool rawSend(int iFd, const std::string& bytes)
{
    return ::send(iFd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

// Reads until `size` bytes came, the peer closed or nothing came for a while.
inline std::string rawReceive(int iFd, size_t size, std::chrono::milliseconds wait = 20s)
{
    std::string out(size, '\0');
    size_t got = 0;
    for (pollfd ready{iFd, POLLIN, 0}; got < size && ::poll(&ready, 1, static_cast<int>(wait.count())) == 1;) {
        const ssize_t n = ::recv(iFd, out.data() + got, size - got, 0);
        if (n <= 0)
            break;
        got += static_cast<size_t>(n);
    }
    return out.substr(0, got);
}

// Whether the peer has closed (EOF within the deadline).
inline bool rawPeerClosed(int iFd)
{
    pollfd wait{iFd, POLLIN, 0};
    char c;
    return ::poll(&wait, 1, 20000) == 1 && ::recv(iFd, &c, 1, MSG_PEEK) == 0;
}

// The descriptor of this process bound to `usPort` and connected to `usPeer`
// (0: to nothing, a listening socket): the library's own end, found so that
// a test can tell when the endpoint has read everything sent to it.
inline int findOwnSocket(unsigned short usPort, unsigned short usPeer)
{
    for (int iFd = 3; iFd < 4096; ++iFd) {
        sockaddr_in local{}, peer{};
        socklen_t length = sizeof(local);
        if (::getsockname(iFd, reinterpret_cast<sockaddr*>(&local), &length) != 0 || local.sin_family != AF_INET ||
            ntohs(local.sin_port) != usPort)
            continue;
        const bool bConnected = ::getpeername(iFd, reinterpret_cast<sockaddr*>(&peer), &length) == 0;
        if (bConnected ? ntohs(peer.sin_port) == usPeer : usPeer == 0)
            return iFd;
    }
    return -1;
}

// Sends bytes over `iRaw` that its far end in this process reads as one
// chunk of their own: returns once they all arrived and were taken out.
inline bool sendChunk(int iRaw, const std::string& bytes)
{
    const int iOwn = findOwnSocket(portOf(iRaw, true), portOf(iRaw));
    auto received = [iOwn] {
        tcp_info info{};
        socklen_t length = sizeof(info);
        ::getsockopt(iOwn, IPPROTO_TCP, TCP_INFO, &info, &length);
        return info.tcpi_bytes_received;
    };
    const unsigned long long ullTotal = (iOwn < 0 ? 0 : received()) + bytes.size();
    int iQueued = -1;
    return iOwn >= 0 && rawSend(iRaw, bytes) &&
           waitUntil([&] { return received() >= ullTotal && ::ioctl(iOwn, FIONREAD, &iQueued) == 0 && iQueued == 0; });
}

// ---- the main loop and the data transfer --------------------------------------

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
bool pumpUntil(TCondition condition)
{
    return waitUntil([&] { return pumpMessages(), condition(); });
}

// What the data transfer's listener heard, one line per call.
class CDataListener : public IDataTransferListener
{
public:
    void onConnect() override { m_events.push_back("connect"); }
    void onDisconnect() override { m_events.push_back("disconnect"); }
    void onTouchInputAvailable(const CCursor& c) override
    {
        std::string line = "touch";
        for (long long v :
             {(long long)c.getID(), (long long)c.getTouchStatus(), (long long)c.getX(), (long long)c.getXDelta(),
              (long long)c.getXSpeed(), (long long)c.getY(), (long long)c.getYDelta(), (long long)c.getYSpeed(),
              (long long)c.getDistance(), (long long)c.getTimestamp()})
            line += " " + std::to_string(v);
        m_events.push_back(line);
    }
    void onPageCMDAvailable(EOperationHandle eHandle, CString strName) override
    {
        m_events.push_back("page " + std::to_string(eHandle) + " " + (strName.isEmpty() ? "<null>" : narrow(strName)));
    }
    void onPopupCMDAvailable(EOperationHandle eHandle, CString strName) override
    {
        m_events.push_back("popup " + std::to_string(eHandle) + " " + (strName.isEmpty() ? "<null>" : narrow(strName)));
    }
    void onLogicDataAvailable(CArrayPtr<unsigned char> bytes) override
    {
        m_events.push_back("raw " + std::string(reinterpret_cast<const char*>(bytes.get()), bytes.getCount()));
    }
    void onLogicDataAvailable(CXMLParser* pDocument) override
    {
        CString strText;
        pDocument->getRootElement()->saveTo(strText, false, false);
        m_events.push_back("xml " + narrow(strText));
    }

    std::vector<std::string> m_events;
};

// One frame as the protocol lays it out: magic, type, length, kind, payload.
inline std::string frame(const std::string& payload, bool bXml = false, unsigned char ucType = 0)
{
    const unsigned int uiLength = static_cast<unsigned int>(payload.size());
    return "IVEN" + std::string(1, static_cast<char>(ucType)) +
           std::string(reinterpret_cast<const char*>(&uiLength), 4) + static_cast<char>(bXml ? 1 : 0) + payload;
}

// An XML payload: the text and its closing zero byte.
inline std::string xmlFrame(const std::string& text)
{
    return frame(text + '\0', true);
}

inline const std::string XML_ROOT = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><root>";

// A data transfer connected to a plain socket of the test, in client mode
// (the test's socket listens) or in server mode (it connects), with the
// message center on the test thread.
struct tagSession
{
    explicit tagSession(bool bServer = false)
    {
        CMessageCenter::getInstance();
        transfer->setListener(&events);
        if (bServer) {
            listener.reset(); // its port is free for the data transfer
            transfer->openAsServer(usPort, u"127.0.0.1");
            EXPECT_TRUE(waitUntil([&] { return (peer = rawSocket(usPort)).get() >= 0; }));
        } else {
            transfer->openAsClient(u"127.0.0.1", usPort);
            peer = rawAccept(listener.get());
        }
        connected();
    }
    ~tagSession()
    {
        transfer.reset();
        CMessageCenter::getInstance()->clearMessageList();
    }
    // Takes the data transfer's (next) connection and its connect event.
    void accept()
    {
        peer = rawAccept(listener.get());
        connected();
    }
    void connected()
    {
        EXPECT_TRUE(pumpUntil([&] { return !events.m_events.empty() && events.m_events.back() == "connect"; }));
        EXPECT_TRUE(transfer->isConnect());
        events.m_events.clear();
    }
    void send(const std::string& bytes) { ASSERT_TRUE(sendChunk(peer.get(), bytes)); }
    // Waits until the data transfer holds exactly that many bytes back.
    bool waitPending(unsigned int uiSize) const
    {
        return waitUntil([&] { return transfer->getPendingSize() == uiSize; });
    }

    unsigned short usPort = 0;
    CFd listener = rawSocket(usPort);
    CFd peer;
    CDataListener events;
    std::unique_ptr<CDataTransfer> transfer = std::make_unique<CDataTransfer>();
};

#endif

} // namespace IpcTest

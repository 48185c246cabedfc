#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>

#include "ipc/SocketTestSupport.h"

using namespace IpcTest;

namespace {

// A server on the loopback with a port of the system's choice.
struct tagServer
{
    explicit tagServer(unsigned int uiBufferSize = 0) : server(0, uiBufferSize)
    {
        server.setThreadName(u"dt");
        server.setBindAddress(u"127.0.0.1");
        server.setListener(&events);
        server.start();
        EXPECT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }, 20s));
    }
    unsigned short port() const { return static_cast<unsigned short>(server.getListeningPort()); }

    CServerRecorder events;
    CSocketServer server;
};

std::string line(const char* pszLevel, const std::string& text)
{
    return std::string("[") + pszLevel + "] " + text;
}

std::string hex8(unsigned int uiValue)
{
    char sz[16];
    std::snprintf(sz, sizeof(sz), "0x%08X", uiValue);
    return sz;
}

} // namespace

// Chunks as the endpoints' receive loops see them: which are heartbeats.
TEST(CSocketHeartBeat, RecognisesTheLeadingRunPlusOne)
{
    const struct
    {
        std::vector<unsigned char> bytes;
        bool bHeartBeat;
    } cases[] = {
        {{0xAF, 0x00}, true},          {{0xAF, 0x05}, true},       {{0xAF, 0xAF, 0x05}, true},
        {{0xAF, 0xAF, 0xAF, 0x00}, true}, {{0xAF}, false},         {{0xAF, 0xAF}, false},
        {{0xAF, 0x00, 0x00}, false},   {{0x00, 0xAF}, false},      {{0xAF, 0x00, 0xAF}, false},
        {{0x01, 0x00}, false},         {{'o', 'k'}, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.bHeartBeat, CSocketClient::isHeartBeat(c.bytes.data(), static_cast<int>(c.bytes.size())))
            << testing::PrintToString(c.bytes);
    EXPECT_FALSE(CSocketClient::isHeartBeat(nullptr, 2));
}

// A whole session, with every log line of the server as written.
TEST(CSocketServer, ServesOneClientAfterAnotherAndLogsEachStep)
{
    CLogRecorder log;
    tagServer s;
    // The configured port, 0 here.
    const std::string name = "(dt : 0)";
    EXPECT_FALSE(s.server.isConnect());
    EXPECT_EQ(-1, s.server.sendData(reinterpret_cast<const unsigned char*>("x"), 1, 0));

    unsigned int uiFirst = 0;
    {
        CFd peer = rawConnect(s.port());
        ASSERT_TRUE(s.events.waitFor('c', 1));
        uiFirst = s.events.events()[0].uiClient;
        EXPECT_TRUE(s.server.isConnect());
        ASSERT_TRUE(rawSend(peer.get(), "hello"));
        ASSERT_TRUE(s.events.waitForBytes(5));
        EXPECT_EQ("hello", s.events.received());

        // Replies go to the accepted client's handle only.
        const unsigned char reply[] = {'o', 'k'};
        EXPECT_EQ(2, s.server.sendData(reply, 2, uiFirst));
        EXPECT_EQ("ok", rawReceive(peer.get(), 2));
        EXPECT_EQ(-1, s.server.sendData(reply, 2, uiFirst + 1));
    }
    ASSERT_TRUE(s.events.waitFor('d', 1));
    EXPECT_FALSE(s.server.isConnect());
    {
        CFd peer = rawConnect(s.port());
        ASSERT_TRUE(s.events.waitFor('c', 2));
    }
    ASSERT_TRUE(s.events.waitFor('d', 2));
    s.server.stop();
    EXPECT_EQ(0u, s.server.getListeningPort());
    EXPECT_FALSE(s.server.isConnect());

    const std::vector<tagEvent> events = s.events.events();
    ASSERT_EQ(5u, events.size());
    EXPECT_EQ('d', events[2].cKind);
    EXPECT_EQ(uiFirst, events[2].uiClient);
    const unsigned int uiSecond = events[3].uiClient;
    EXPECT_EQ(uiSecond, events[4].uiClient);

    const std::vector<std::string> expected = {
        line("Info", "Socket server " + name + " has started."),
        line("Info", "Socket server " + name + " is waiting for client..."),
        line("Info", "Socket server " + name + " accepted client " + hex8(uiFirst) + "."),
        line("Info", "Client " + hex8(uiFirst) + " disconnected from the socket server " + name + " "),
        line("Info", "Socket server " + name + " is waiting for client..."),
        line("Info", "Socket server " + name + " accepted client " + hex8(uiSecond) + "."),
        line("Info", "Client " + hex8(uiSecond) + " disconnected from the socket server " + name + " "),
        line("Info", "Socket server " + name + " is waiting for client..."),
        line("Info", "Socket server " + name + " terminated."),
    };
    std::vector<std::string> server;
    for (const std::string& l : log.lines()) {
        if (l.find("ocket server") != std::string::npos)
            server.push_back(l);
    }
    EXPECT_EQ(expected, server);
}

TEST(CSocketServer, SecondClientWaitsUntilTheFirstLeaves)
{
    tagServer s;
    CFd first = rawConnect(s.port());
    ASSERT_TRUE(s.events.waitFor('c', 1));
    // The system completes the second connection into the backlog; the
    // server does not take it, nor its bytes, while the first is served.
    CFd second = rawConnect(s.port());
    ASSERT_TRUE(second.valid());
    ASSERT_TRUE(rawSend(second.get(), "second"));
    ASSERT_TRUE(rawSend(first.get(), "first"));
    ASSERT_TRUE(s.events.waitForBytes(5));
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(1u, s.events.count('c'));
    EXPECT_EQ("first", s.events.received());

    first.reset();
    ASSERT_TRUE(s.events.waitForBytes(11));
    EXPECT_EQ("firstsecond", s.events.received());
    const std::vector<tagEvent> events = s.events.events();
    ASSERT_GE(events.size(), 4u);
    EXPECT_EQ('d', events[2].cKind);
    EXPECT_EQ('c', events[3].cKind);
    EXPECT_NE(events[0].uiClient, 0xFFFFFFFFu);
}

// Heartbeat chunks from the client are swallowed (and the reply, addressed
// to client 0, never leaves); other chunks arrive one by one.
TEST(CSocketServer, FiltersHeartBeatChunks)
{
    tagServer s(64);
    CFd peer = rawConnect(s.port());
    ASSERT_TRUE(s.events.waitFor('c', 1));
    const std::vector<std::pair<std::string, bool>> chunks = {
        {"\xAF\x00"s, false}, {"\xAF", true}, {"\xAF\xAF", true}, {"\xAF\xAF\x05", false}, {"\xAF\x00\x00"s, true}};
    unsigned long long ullSent = 0;
    std::string expected;
    for (const auto& [bytes, bDelivered] : chunks) {
        ASSERT_TRUE(rawSend(peer.get(), bytes));
        ullSent += bytes.size();
        ASSERT_TRUE(waitConsumed(peer.get(), ullSent));
        expected += bDelivered ? bytes : std::string();
    }
    // The receive buffer bounds the chunks.
    const std::string big(200, 'b');
    ASSERT_TRUE(rawSend(peer.get(), big));
    ASSERT_TRUE(s.events.waitForBytes(expected.size() + big.size()));
    EXPECT_EQ(expected + big, s.events.received());
    for (const tagEvent& e : s.events.events())
        EXPECT_LE(e.bytes.size(), 64u);
    EXPECT_EQ("", rawReceive(peer.get(), 1, 100ms));
}

TEST(CSocketServer, PortInUseEndsTheThreadWithNoClient)
{
    CLogRecorder log;
    unsigned short usPort = 0;
    CFd busy = rawListen(usPort);
    CServerRecorder events;
    CSocketServer server(usPort, 0);
    server.setThreadName(u"dt");
    server.setListener(&events);
    server.start();
    ASSERT_TRUE(events.waitFor('d', 1));
    EXPECT_EQ(0xFFFFFFFFu, events.events()[0].uiClient);
    ASSERT_TRUE(waitUntil([&] { return server.getThreadID() == 0; }, 20s));
    EXPECT_EQ(1u, log.count("[Error] Fail to create socket server (dt : " + std::to_string(usPort) + ")."));
    EXPECT_EQ(0u, log.countPrefix("[Info] Socket server (dt"));
}

// When accepting fails (here: the listening socket is shut down under the
// server) the server says so and ends.
TEST(CSocketServer, FailedAcceptEndsTheServer)
{
    CLogRecorder log;
    tagServer s;
    // Connected to nothing: the listening socket.
    const int iListening = findOwnSocket(s.port(), 0);
    ASSERT_GE(iListening, 0);
    ASSERT_TRUE(waitUntil([&] { return log.countPrefix("[Info] Socket server (dt : 0) is waiting") == 1; }, 20s));
    ::shutdown(iListening, SHUT_RDWR);
    ASSERT_TRUE(s.events.waitFor('d', 1));
    EXPECT_EQ(0xFFFFFFFFu, s.events.events()[0].uiClient);
    ASSERT_TRUE(waitUntil([&] { return s.server.getThreadID() == 0; }, 20s));
    EXPECT_EQ(1u, log.count("[Error] Socket server (dt : 0) can't get client."));
    EXPECT_EQ(1u, log.count("[Info] Socket server (dt : 0) terminated."));
}

// A client that connects and never sends, or never reads, holds the one
// slot but cannot hold up a stop.
TEST(CSocketServer, StopsPromptlyWhateverTheClientDoes)
{
    tagServer s;
    CFd silent = rawConnect(s.port());
    ASSERT_TRUE(s.events.waitFor('c', 1));
    const unsigned int uiClient = s.events.events()[0].uiClient;
    // The client never reads: sends fill the socket, then stop completing.
    const std::string block(1 << 16, 'x');
    int iResult = 0;
    for (int i = 0; i < 1000; ++i) {
        iResult = s.server.sendData(reinterpret_cast<const unsigned char*>(block.data()), 1 << 16, uiClient);
        if (iResult != (1 << 16))
            break;
    }
    EXPECT_LT(iResult, 1 << 16);
    s.server.stop();
    EXPECT_EQ(2u, s.events.events().size());
    EXPECT_EQ(-1, s.server.sendData(reinterpret_cast<const unsigned char*>("x"), 1, uiClient));
}

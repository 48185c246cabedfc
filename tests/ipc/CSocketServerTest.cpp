#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>

#include "ipc/SocketTestSupport.h"

using namespace IpcTest;

namespace {

const unsigned int NO_CLIENT = CSocketServer::NO_CLIENT;

// A server on the loopback with a port of the system's choice.
struct tagServer
{
    explicit tagServer(unsigned int uiBufferSize = 0) : server(0, uiBufferSize)
    {
        server.setThreadName(u"dt");
        server.setBindAddress(u"127.0.0.1");
        server.setListener(&events);
        server.start();
        EXPECT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }));
    }
    unsigned short port() const { return static_cast<unsigned short>(server.getListeningPort()); }

    CSocketRecorder events;
    CSocketServer server;
};

std::string hex8(unsigned int uiValue)
{
    char sz[16];
    std::snprintf(sz, sizeof(sz), "0x%08X", uiValue);
    return sz;
}

} // namespace

// A whole session with every log line of the server as written: chunks no
// larger than the receive buffer, heartbeats swallowed (the reply, addressed
// to client 0, never leaves), replies to the accepted client only, then the
// next client.
TEST(CSocketServer, ServesOneClientAfterAnotherAndLogsEachStep)
{
    CLogRecorder log;
    tagServer s(64);
    EXPECT_FALSE(s.server.isConnect());
    EXPECT_EQ(-1, s.server.sendData(reinterpret_cast<const unsigned char*>("x"), 1, 0));

    unsigned int uiFirst = 0;
    {
        CFd peer = rawConnect(s.port());
        ASSERT_TRUE(s.events.waitFor('c', 1));
        uiFirst = s.events.events()[0].uiClient;
        EXPECT_TRUE(s.server.isConnect());
        for (const std::string& chunk : {"\xAF\x00"s, "\xAF"s, "\xAF\xAF"s, "\xAF\xAF\x05"s, "\xAF\x00\x00"s})
            ASSERT_TRUE(sendChunk(peer.get(), chunk));
        const std::string big(200, 'b');
        ASSERT_TRUE(rawSend(peer.get(), big));
        ASSERT_TRUE(waitUntil([&] { return s.events.received().size() >= 206; }));
        EXPECT_EQ("\xAF\xAF\xAF\xAF\x00\x00"s + big, s.events.received());
        for (const tagEvent& e : s.events.events())
            EXPECT_LE(e.bytes.size(), 64u);
        EXPECT_EQ("", rawReceive(peer.get(), 1, 100ms));

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

    // A client's disconnect names the handle its connect did.
    std::string handles;
    for (const tagEvent& e : s.events.events())
        handles += e.cKind == 'r' ? "" : e.cKind + hex8(e.uiClient);
    const unsigned int uiSecond = s.events.events().back().uiClient;
    EXPECT_EQ("c" + hex8(uiFirst) + "d" + hex8(uiFirst) + "c" + hex8(uiSecond) + "d" + hex8(uiSecond), handles);

    // The configured port, 0 here.
    const std::string name = "[Info] Socket server (dt : 0)", waiting = name + " is waiting for client...";
    const std::vector<std::string> expected = {
        name + " has started.",
        waiting,
        name + " accepted client " + hex8(uiFirst) + ".",
        "[Info] Client " + hex8(uiFirst) + " disconnected from the socket server (dt : 0) ",
        waiting,
        name + " accepted client " + hex8(uiSecond) + ".",
        "[Info] Client " + hex8(uiSecond) + " disconnected from the socket server (dt : 0) ",
        waiting,
        name + " terminated.",
    };
    std::vector<std::string> server = log.lines();
    server.erase(std::remove_if(server.begin(), server.end(),
                                [](const std::string& l) { return l.find("ocket server") == std::string::npos; }),
                 server.end());
    EXPECT_EQ(expected, server);
}

// A port in use, or an accept that fails (the listening socket shut down
// under the server): the server says so and ends, with no client.
TEST(CSocketServer, FailureToListenOrAcceptEndsTheServer)
{
    CLogRecorder log;
    unsigned short usPort = 0;
    CFd busy = rawListen(usPort);
    CSocketRecorder events;
    CSocketServer server(usPort, 0);
    server.setThreadName(u"dt");
    server.setListener(&events);
    server.start();
    ASSERT_TRUE(events.waitFor('d', 1));
    EXPECT_EQ(NO_CLIENT, events.events()[0].uiClient);
    ASSERT_TRUE(waitUntil([&] { return server.getThreadID() == 0; }));
    EXPECT_FALSE(server.isConnect());
    EXPECT_EQ(1u, log.count("[Error] Fail to create socket server (dt : " + std::to_string(usPort) + ")."));
    EXPECT_EQ(0u, log.count("[Info] Socket server (dt"));

    tagServer s;
    const int iListening = findOwnSocket(s.port(), 0);
    ASSERT_GE(iListening, 0);
    ASSERT_TRUE(waitUntil([&] { return log.count("[Info] Socket server (dt : 0) is waiting") == 1; }));
    ::shutdown(iListening, SHUT_RDWR);
    ASSERT_TRUE(s.events.waitFor('d', 1));
    EXPECT_EQ(NO_CLIENT, s.events.events()[0].uiClient);
    ASSERT_TRUE(waitUntil([&] { return s.server.getThreadID() == 0; }));
    EXPECT_EQ(1u, log.count("[Error] Socket server (dt : 0) can't get client."));
    EXPECT_EQ(1u, log.count("[Info] Socket server (dt : 0) terminated."));
}

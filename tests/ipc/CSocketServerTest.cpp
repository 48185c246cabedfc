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
        EXPECT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }));
    }
    unsigned short port() const { return static_cast<unsigned short>(server.getListeningPort()); }

    CSocketRecorder events;
    CSocketServer server;
};

} // namespace

// A whole session with every log line of the server as written: chunks no
// larger than the receive buffer, a heartbeat swallowed (the reply,
// addressed to client 0, never leaves), replies to the accepted client
// only, then the next client.
TEST(CSocketServer, ServesOneClientAfterAnotherAndLogsEachStep)
{
    CLogRecorder log;
    tagServer s(64);
    EXPECT_EQ(-1, s.server.sendData(reinterpret_cast<const unsigned char*>("x"), 1, 0));
    unsigned short usPort = s.port();
    std::string first;
    {
        CFd peer = rawSocket(usPort);
        ASSERT_TRUE(s.events.waitFor('c', 1));
        first = s.events.lines()[0].substr(1);
        EXPECT_TRUE(s.server.isConnect());
        ASSERT_TRUE(sendChunk(peer.get(), "\xAF\x00"s));
        const std::string big(200, 'b');
        ASSERT_TRUE(rawSend(peer.get(), big));
        ASSERT_TRUE(waitUntil([&] { return s.events.received().size() >= 200; }));
        EXPECT_EQ(big, s.events.received());
        for (const std::string& e : s.events.lines())
            EXPECT_LE(e.size(), 65u);
        EXPECT_EQ("", rawReceive(peer.get(), 1, 100ms));

        const unsigned char reply[] = {'o', 'k'};
        const unsigned int uiFirst = static_cast<unsigned int>(std::stoul(first, nullptr, 16));
        EXPECT_EQ(2, s.server.sendData(reply, 2, uiFirst));
        EXPECT_EQ("ok", rawReceive(peer.get(), 2));
        EXPECT_EQ(-1, s.server.sendData(reply, 2, uiFirst + 1));
    }
    ASSERT_TRUE(s.events.waitFor('d', 1));
    EXPECT_FALSE(s.server.isConnect());
    rawSocket(usPort); // connects and closes at once
    ASSERT_TRUE(s.events.waitFor('d', 2));
    s.server.stop();
    EXPECT_EQ(0u, s.server.getListeningPort());

    // A client's disconnect names the handle its connect did.
    std::vector<std::string> handles = s.events.lines();
    handles.erase(std::remove_if(handles.begin(), handles.end(), [](const std::string& e) { return e[0] == 'r'; }),
                  handles.end());
    const std::string second = handles.back().substr(1);
    EXPECT_EQ((std::vector<std::string>{"c" + first, "d" + first, "c" + second, "d" + second}), handles);

    // The configured port, 0 here.
    const std::string name = "[Info] Socket server (dt : 0)", waiting = name + " is waiting for client...";
    const std::vector<std::string> expected = {
        name + " has started.",
        waiting,
        name + " accepted client " + first + ".",
        "[Info] Client " + first + " disconnected from the socket server (dt : 0) ",
        waiting,
        name + " accepted client " + second + ".",
        "[Info] Client " + second + " disconnected from the socket server (dt : 0) ",
        waiting,
        name + " terminated.",
    };
    std::vector<std::string> server = log.lines();
    server.erase(std::remove_if(server.begin(), server.end(),
                                [](const std::string& l) { return l.find("ocket server") == std::string::npos; }),
                 server.end());
    EXPECT_EQ(expected, server);
}

// A port in use: the server says so and ends, with no client.
TEST(CSocketServer, FailureToListenEndsTheServer)
{
    CLogRecorder log;
    unsigned short usPort = 0;
    CFd busy = rawSocket(usPort);
    CSocketRecorder events;
    CSocketServer server(usPort, 0);
    server.setThreadName(u"dt");
    server.setListener(&events);
    server.start();
    ASSERT_TRUE(events.waitFor('d', 1));
    ASSERT_TRUE(waitUntil([&] { return server.getThreadID() == 0; }));
    EXPECT_EQ(std::vector<std::string>{"d" + hex8(CSocketServer::NO_CLIENT)}, events.lines());
    EXPECT_FALSE(server.isConnect());
    EXPECT_EQ(1u, log.count("[Error] Fail to create socket server (dt : " + std::to_string(usPort) + ")."));
    EXPECT_EQ(0u, log.count("[Info] Socket server (dt"));
}

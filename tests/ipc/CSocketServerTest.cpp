#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>

#include "ipc/SocketTestSupport.h"

using namespace IpcTest;

// A whole session with every log line of the server as written: chunks no
// larger than the receive buffer, a heartbeat swallowed (the reply,
// addressed to client 0, never leaves), replies to the accepted client
// only; a client's disconnect names the handle its connect did; then the
// next client.
TEST(CSocketServer, ServesOneClientAfterAnotherAndLogsEachStep)
{
    CLogRecorder log;
    CSocketRecorder events;
    CSocketServer server(0, 64);
    server.setThreadName(u"dt");
    server.setBindAddress(u"127.0.0.1");
    server.setListener(&events);
    EXPECT_EQ(-1, server.sendData(bytesOf("ok"), 2, 0));
    server.start();
    ASSERT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }));
    unsigned short usPort = static_cast<unsigned short>(server.getListeningPort());
    std::string handles[2];
    for (unsigned int i = 0; i < 2; ++i) {
        CFd peer = rawSocket(usPort);
        ASSERT_TRUE(events.waitFor('c', i + 1));
        handles[i] = events.lines().back().substr(1);
        EXPECT_TRUE(server.isConnect());
        if (i == 0) {
            ASSERT_TRUE(sendChunk(peer.get(), "\xAF\x00"s));
            const std::string big(200, 'b');
            ASSERT_TRUE(rawSend(peer.get(), big));
            ASSERT_TRUE(waitUntil([&] { return events.received() == big; }));
            for (const std::string& e : events.lines())
                EXPECT_LE(e.size(), 65u) << "a chunk beyond the buffer";
            EXPECT_EQ("", rawReceive(peer.get(), 1, 100ms));
            const unsigned int uiClient = static_cast<unsigned int>(std::stoul(handles[0], nullptr, 16));
            EXPECT_EQ(2, server.sendData(bytesOf("ok"), 2, uiClient));
            EXPECT_EQ("ok", rawReceive(peer.get(), 2));
            EXPECT_EQ(-1, server.sendData(bytesOf("ok"), 2, uiClient + 1));
        }
        peer.reset();
        ASSERT_TRUE(events.waitFor('d', i + 1));
        EXPECT_EQ("d" + handles[i], events.lines().back());
        EXPECT_FALSE(server.isConnect());
    }
    server.stop();
    EXPECT_EQ(0u, server.getListeningPort());
    EXPECT_FALSE(server.isConnect());
    // The configured port, 0 here.
    const std::string name = "[Info] Socket server (dt : 0)", waiting = name + " is waiting for client...";
    std::vector<std::string> expected = {name + " has started.", waiting};
    for (const std::string& handle : handles) {
        expected.insert(expected.end(),
                        {name + " accepted client " + handle + ".",
                         "[Info] Client " + handle + " disconnected from the socket server (dt : 0) ", waiting});
    }
    expected.push_back(name + " terminated.");
    std::vector<std::string> lines = log.lines();
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [](const std::string& l) { return l.find("ocket server") == std::string::npos; }),
                lines.end());
    EXPECT_EQ(expected, lines);
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

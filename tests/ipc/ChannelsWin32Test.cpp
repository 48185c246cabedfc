// The Windows side of the socket channels where its own faults would hide:
// the Winsock error codes and closes that must end waits of another thread.
#include "ipc/SocketTestSupport.h"

#include <windows.h>

using namespace IpcTest;

// Both ways; the stops end the endpoint threads' waits (the client's in its
// receive, the server's in accept). Then nothing listens on the port: the
// refused connect logs Winsock's code.
TEST(SocketsWin32, ExchangeStopAndRefusal)
{
    CLogRecorder log;
    CSocketRecorder serverEvents, clientEvents;
    CSocketServer server(0, 0);
    server.setBindAddress(u"127.0.0.1");
    server.setListener(&serverEvents);
    server.start();
    ASSERT_TRUE(waitUntil([&] { return server.getListeningPort() != 0; }));
    CSocketClient client(CString(u"127.0.0.1"), server.getListeningPort(), true, 0);
    client.setListener(&clientEvents);
    client.start(false);
    ASSERT_TRUE(serverEvents.waitFor('c', 1) && clientEvents.waitFor('c', 1));
    EXPECT_EQ(4, client.sendData(bytesOf("ping"), 4));
    ASSERT_TRUE(waitUntil([&] { return serverEvents.received() == "ping"; }));
    const auto uiClient = static_cast<unsigned int>(std::stoul(serverEvents.lines()[0].substr(1), nullptr, 16));
    EXPECT_EQ(4, server.sendData(bytesOf("pong"), 4, uiClient));
    ASSERT_TRUE(waitUntil([&] { return clientEvents.received() == "pong"; }));
    client.stop();
    EXPECT_FALSE(client.isConnect());
    ASSERT_TRUE(serverEvents.waitFor('d', 1));
    server.stop();
    EXPECT_EQ(0u, server.getListeningPort());

    client.start(false);
    EXPECT_TRUE(waitUntil([&] { return log.count("error code=" + std::to_string(WSAECONNREFUSED) + ".") > 0; }));
    client.stop();
}

#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>

#include "ipc/SocketTestSupport.h"

using namespace IpcTest;

namespace {

class CClient : public CSocketClient
{
public:
    explicit CClient(unsigned short usPort, bool bAutoReconnect = true)
        : CSocketClient(u"127.0.0.1", usPort, bAutoReconnect, 0)
    {
        setThreadName(u"dt");
        setListener(&events);
    }
    using CSocketClient::getRetryPause;

    CSocketRecorder events;
};

} // namespace

// A chunk is a heartbeat when it starts with 0xAF and is one byte longer
// than its leading run of 0xAF; the pause after failures grows in steps.
TEST(CSocketClient, HeartBeatAndRetryPauseRules)
{
    const std::pair<std::string, bool> chunks[] = {
        {"\xAF\x00"s, true},  {"\xAF\xAF\x05"s, true},  {"\xAF"s, false},
        {"\xAF\xAF"s, false}, {"\xAF\x00\xAF"s, false}, {"ab"s, false},
    };
    for (const auto& [bytes, bBeat] : chunks) {
        const auto* pData = reinterpret_cast<const unsigned char*>(bytes.data());
        EXPECT_EQ(bBeat, CSocketClient::isHeartBeat(pData, static_cast<int>(bytes.size()))) << bytes;
    }
    EXPECT_FALSE(CSocketClient::isHeartBeat(nullptr, 2));
    const unsigned int pauses[][2] = {{1, 1000}, {5, 1000}, {6, 2000}, {50, 2000}, {51, 5000}, {1000, 5000}};
    for (const auto& c : pauses)
        EXPECT_EQ(c[1], CClient::getRetryPause(c[0])) << c[0];
}

// A client without auto-reconnect ends its thread with its connection; one
// with it keeps trying once the server is gone, with a warning at the 1st,
// 21st, 41st and 61st failure: the growing pauses in between would take
// minutes, had tryToConnect not cut each short.
TEST(CSocketClient, ReconnectsWhenAskedAndWarnsOnEveryTwentiethFailure)
{
    CLogRecorder log;
    unsigned short usPort = 0;
    CFd listener = rawSocket(usPort);
    CClient once(usPort, false), client(usPort);
    EXPECT_EQ(-1, once.sendData(bytesOf("x"), 1));
    once.start(true);
    rawAccept(listener.get()).reset();
    ASSERT_TRUE(once.events.waitFor('d', 1));
    ASSERT_TRUE(waitUntil([&] { return once.getThreadID() == 0; }));
    client.start(false);
    rawAccept(listener.get()).reset();
    ASSERT_TRUE(client.events.waitFor('d', 1));
    EXPECT_FALSE(client.isConnect());
    listener.reset();
    const std::string server = " with the socket server (" + std::to_string(usPort) + ").";
    EXPECT_EQ(2u, log.count("[Info] Socket client (dt) has connected" + server));
    EXPECT_EQ(2u, log.count("[Info] Socket client (dt) has dis-connected" + server));

    const std::string warning = "[Warning] Fail to set connection between the socket client (dt) and socket (" +
                                std::to_string(usPort) + ") server, error code=" + std::to_string(ECONNREFUSED) + ".";
    ASSERT_TRUE(waitUntil([&] { return client.tryToConnect(), log.count(warning) >= 4; }));
    client.stop();
    EXPECT_EQ(0u, client.getThreadID());
    EXPECT_EQ(4u, log.count("[Warning]"));
    EXPECT_EQ((std::vector<std::string>{"c", "d"}), once.events.lines());
}

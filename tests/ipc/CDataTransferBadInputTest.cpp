#include <ipc/CDataTransfer.h>

#include "ipc/SocketTestSupport.h"

using namespace IpcTest;

namespace {

// Header bytes announcing a payload of uiLength bytes.
std::string header(unsigned int uiLength)
{
    return frame("").substr(0, 5) + std::string(reinterpret_cast<const char*>(&uiLength), 4) + '\0';
}

std::string oversizeLine(unsigned int uiLength, unsigned int uiLimit, unsigned int uiBuffered)
{
    return "[Warning] Data transfer frame of " + std::to_string(uiLength) + " bytes exceeds the limit of " +
           std::to_string(uiLimit) + " bytes; " + std::to_string(uiBuffered) + " buffered bytes discarded.";
}

} // namespace

// Whatever follows, every whole frame before the bad bytes arrives once and
// in order, the bad bytes and what is buffered with them are dropped, and
// the stream recovers with the next frame.
TEST(CDataTransferBadInput, BadBytesDiscardTheBufferOnly)
{
    CLogRecorder log;
    tagClientSession s;
    const struct
    {
        const char* pszName;
        std::string bad;
    } cases[] = {
        {"garbage", "garbage bytes that are no frame"},
        {"zero length", header(0) + "tail"},
        {"zero length header alone", header(0)},
        {"huge length", header(0xFFFFFFF0u) + "tail"},
        {"magic, another type, then garbage", "IVEN\x05garbage!"},
    };
    int iFrame = 0;
    std::vector<std::string> expected;
    for (const auto& c : cases) {
        const std::string a = "f" + std::to_string(iFrame++), b = "f" + std::to_string(iFrame++);
        // Frames, then the bad bytes in the same chunk and in one of their own.
        s.send(frame(a) + c.bad);
        s.send(frame(b));
        s.send(c.bad);
        ASSERT_TRUE(s.waitPending(0)) << c.pszName;
        const std::string next = "f" + std::to_string(iFrame++);
        s.send(frame(next));
        expected.insert(expected.end(), {"raw " + a, "raw " + b, "raw " + next});
        ASSERT_TRUE(s.events.waitFor(expected.size())) << c.pszName;
        EXPECT_EQ(expected, s.events.m_events) << c.pszName;
        EXPECT_EQ(0u, s.transfer->getPendingSize()) << c.pszName;
    }
    // The oversized frame came twice on one connection: logged once.
    const unsigned int uiFirstChunk = static_cast<unsigned int>(frame("f4").size() + header(0).size() + 4);
    EXPECT_EQ(1u, log.count(oversizeLine(0xFFFFFFF0u, CDataTransfer::DEFAULT_MAX_FRAME_LENGTH, uiFirstChunk)));
    EXPECT_EQ(1u, log.count("[Warning] Data transfer frame of"));
}

TEST(CDataTransferBadInput, MaximumFrameLengthIsTheLargestPayloadAccepted)
{
    CLogRecorder log;
    tagClientSession s;
    EXPECT_EQ(16u * 1024u * 1024u, s.transfer->getMaxFrameLength());
    s.transfer->setMaxFrameLength(100);
    s.send(frame(std::string(100, 'a')));
    s.send(frame(std::string(101, 'b')));
    s.send(frame("c"));
    ASSERT_TRUE(s.events.waitFor(2));
    EXPECT_EQ((std::vector<std::string>{"raw " + std::string(100, 'a'), "raw c"}), s.events.m_events);
    EXPECT_EQ(1u, log.count(oversizeLine(101, 100, 111)));

    // A new connection is a new stream: logged once more.
    s.peer.reset();
    s.accept();
    s.send(header(5000) + "x");
    s.send(frame("d"));
    ASSERT_TRUE(s.events.waitFor(1));
    EXPECT_EQ(std::vector<std::string>{"raw d"}, s.events.m_events);
    EXPECT_EQ(1u, log.count(oversizeLine(5000, 100, 11)));
}

TEST(CDataTransferBadInput, TenThousandFramesInOneChunk)
{
    tagClientSession s;
    std::string all;
    std::vector<std::string> expected;
    for (int i = 0; i < 10000; ++i) {
        all += frame(std::to_string(i));
        expected.push_back("raw " + std::to_string(i));
    }
    ASSERT_TRUE(rawSend(s.peer.get(), all));
    ASSERT_TRUE(s.events.waitFor(10000));
    EXPECT_TRUE(expected == s.events.m_events);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

// A server whose client connects and never sends still closes at once.
TEST(CDataTransferBadInput, SilentPeerDoesNotHoldUpClose)
{
    CMessageCenter::getInstance();
    unsigned short usPort = 0;
    rawListen(usPort);
    CDataListener heard;
    CDataTransfer server;
    server.setListener(&heard);
    server.openAsServer(usPort, u"127.0.0.1");
    CFd silent;
    ASSERT_TRUE(waitUntil([&] { return (silent = rawConnect(usPort)).valid(); }));
    ASSERT_TRUE(heard.waitFor(1));
    EXPECT_TRUE(server.isConnect());
    const auto start = std::chrono::steady_clock::now();
    server.close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2000ms);
    EXPECT_FALSE(server.isConnect());
    EXPECT_TRUE(rawPeerClosed(silent.get()));
    CMessageCenter::getInstance()->clearMessageList();
}

// A peer that never reads: sends fail once the socket is full, without
// blocking the sender or dropping the connection.
TEST(CDataTransferBadInput, PeerThatNeverReads)
{
    tagClientSession s;
    const std::string block(60000, 'z');
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i)
        s.transfer->sendLogicData(reinterpret_cast<const unsigned char*>(block.data()), 60000);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 20s);
    EXPECT_GT(bytesQueued(s.peer.get()), 0);
    EXPECT_TRUE(s.transfer->isConnect());
    s.transfer->close();
    EXPECT_FALSE(s.transfer->isConnect());
}

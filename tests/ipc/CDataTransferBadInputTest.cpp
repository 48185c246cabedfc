#include <ipc/CDataTransfer.h>

#include "ipc/DataTransferTestSupport.h"

using namespace IpcTest;

namespace {

std::string rawFrame(const std::string& text)
{
    return frame(text, false);
}

// Header bytes announcing a payload of uiLength bytes.
std::string header(unsigned int uiLength)
{
    return rawFrame(std::string()).substr(0, 5) + std::string(reinterpret_cast<const char*>(&uiLength), 4) + '\0';
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
        s.sendChunk(rawFrame(a) + c.bad);
        s.sendChunk(rawFrame(b));
        s.sendChunk(c.bad);
        ASSERT_TRUE(s.waitPending(0)) << c.pszName;
        const std::string next = "f" + std::to_string(iFrame++);
        s.sendChunk(rawFrame(next));
        expected.insert(expected.end(), {"raw " + a, "raw " + b, "raw " + next});
        ASSERT_TRUE(s.events.waitFor(expected.size())) << c.pszName;
        EXPECT_EQ(expected, s.events.m_events) << c.pszName;
        EXPECT_EQ(0u, s.transfer->getPendingSize()) << c.pszName;
    }
    // The oversized frame came twice on one connection: logged once.
    const unsigned int uiFirstChunk = static_cast<unsigned int>(rawFrame("f4").size() + header(0).size() + 4);
    EXPECT_EQ(1u, log.count(oversizeLine(0xFFFFFFF0u, CDataTransfer::DEFAULT_MAX_FRAME_LENGTH, uiFirstChunk)));
    EXPECT_EQ(1u, log.countPrefix("[Warning] Data transfer frame of"));
}

// A frame of 5 MiB in 64 KiB pieces: held back, delivered once, and its
// memory given back afterwards.
TEST(CDataTransferBadInput, LargeFrameInManyChunks)
{
    tagClientSession s;
    std::string payload(5u * 1024u * 1024u, 'L');
    payload[12345] = 'M';
    const std::string whole = rawFrame(payload);
    for (size_t at = 0; at < whole.size(); at += 65536) {
        s.sendChunk(whole.substr(at, 65536));
        if (at + 65536 < whole.size()) {
            ASSERT_TRUE(s.waitPending(static_cast<unsigned int>(at + 65536)));
        }
    }
    ASSERT_TRUE(s.events.waitFor(1));
    EXPECT_EQ("raw " + payload, s.events.m_events[0]);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

TEST(CDataTransferBadInput, MaximumFrameLengthIsTheLargestPayloadAccepted)
{
    CLogRecorder log;
    tagClientSession s;
    EXPECT_EQ(16u * 1024u * 1024u, s.transfer->getMaxFrameLength());
    s.transfer->setMaxFrameLength(100);
    s.sendChunk(rawFrame(std::string(100, 'a')));
    s.sendChunk(rawFrame(std::string(101, 'b')));
    s.sendChunk(rawFrame("c"));
    ASSERT_TRUE(s.events.waitFor(2));
    EXPECT_EQ((std::vector<std::string>{"raw " + std::string(100, 'a'), "raw c"}), s.events.m_events);
    EXPECT_EQ(1u, log.count(oversizeLine(101, 100, 111)));

    // A new connection is a new stream: logged once more.
    s.peer.reset();
    s.peer = rawAccept(s.listener.get());
    ASSERT_TRUE(s.events.waitFor(4));
    s.ullSent = 0;
    s.sendChunk(header(5000) + "x");
    s.sendChunk(rawFrame("d"));
    ASSERT_TRUE(s.events.waitFor(5));
    EXPECT_EQ("raw d", s.events.m_events.back());
    EXPECT_EQ(1u, log.count(oversizeLine(5000, 100, 11)));
}

// One byte at a time: held back byte by byte, delivered once when complete.
TEST(CDataTransferBadInput, SlowDripDeliversOnce)
{
    tagClientSession s;
    const std::string whole = xmlFrame(XML_HEADER + std::string("<root><page_cmd page_name=\"drip\"/></root>"));
    for (size_t i = 0; i + 1 < whole.size(); ++i) {
        s.sendChunk(whole.substr(i, 1));
        ASSERT_TRUE(s.waitPending(static_cast<unsigned int>(i + 1)));
    }
    EXPECT_EQ(0u, CMessageCenter::getInstance()->getMessageCount());
    s.sendChunk(whole.substr(whole.size() - 1));
    ASSERT_TRUE(s.events.waitFor(1));
    EXPECT_EQ(std::vector<std::string>{"page 0 drip"}, s.events.m_events);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

TEST(CDataTransferBadInput, TenThousandFramesInOneChunk)
{
    tagClientSession s;
    std::string all;
    for (int i = 0; i < 10000; ++i)
        all += rawFrame(std::to_string(i));
    ASSERT_TRUE(rawSend(s.peer.get(), all));
    ASSERT_TRUE(s.events.waitFor(10000));
    ASSERT_EQ(10000u, s.events.m_events.size());
    for (int i = 0; i < 10000; ++i)
        ASSERT_EQ("raw " + std::to_string(i), s.events.m_events[i]);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

// A peer that vanishes mid-frame: the part is dropped with the connection
// and never delivered; the reconnected stream starts clean.
TEST(CDataTransferBadInput, FrameCutByAnAbruptClose)
{
    tagClientSession s;
    const std::string whole = rawFrame("never whole");
    s.sendChunk(whole.substr(0, 15));
    ASSERT_TRUE(s.waitPending(15));
    const linger reset{1, 0};
    ::setsockopt(s.peer.get(), SOL_SOCKET, SO_LINGER, &reset, sizeof(reset));
    s.peer.reset();
    ASSERT_TRUE(s.events.waitFor(1));
    EXPECT_EQ(0u, s.transfer->getPendingSize());
    s.peer = rawAccept(s.listener.get());
    ASSERT_TRUE(s.events.waitFor(2));
    s.ullSent = 0;
    s.sendChunk(rawFrame("fresh"));
    ASSERT_TRUE(s.events.waitFor(3));
    EXPECT_EQ((std::vector<std::string>{"disconnect", "connect", "raw fresh"}), s.events.m_events);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

// A server whose client connects and never sends still closes at once.
TEST(CDataTransferBadInput, SilentPeerDoesNotHoldUpClose)
{
    CMessageCenter::getInstance();
    unsigned short usPort = 0;
    CFd reserve = rawListen(usPort);
    reserve.reset();
    CDataListener heard;
    CDataTransfer server;
    server.setListener(&heard);
    server.openAsServer(usPort, u"127.0.0.1");
    CFd silent;
    ASSERT_TRUE(waitUntil([&] { return (silent = rawConnect(usPort)).valid(); }, 20s));
    ASSERT_TRUE(heard.waitFor(1));
    EXPECT_TRUE(server.isConnect());
    const auto start = std::chrono::steady_clock::now();
    server.close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2000ms);
    EXPECT_FALSE(server.isConnect());
    EXPECT_TRUE(rawPeerClosed(silent.get()));
    EXPECT_EQ(0u, server.getPendingSize());
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

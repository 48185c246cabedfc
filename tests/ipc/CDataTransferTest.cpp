#include <ipc/CDataTransfer.h>
#include <ipc/CDataTransferProxy.h>
#include <ipc/CMsgDataTransfer.h>

#include "ipc/SocketTestSupport.h"

using namespace IpcTest;

namespace {

using EHandle = IDataTransferListener::EOperationHandle;

// Header bytes announcing a payload of uiLength bytes.
std::string header(unsigned int uiLength)
{
    return frame("").substr(0, 5) + std::string(reinterpret_cast<const char*>(&uiLength), 4) + '\0';
}

} // namespace

// Every send, byte for byte as the peer reads it (the proxy forwards).
TEST(CDataTransfer, FramesEachKindOfSend)
{
    CMessageCenter::getInstance();
    unsigned short usPort = 0;
    CFd listener = rawSocket(usPort);
    CDataTransferProxy proxy;
    EXPECT_FALSE(proxy.isConnect()); // not before its connection is made
    proxy.openAsClient(u"127.0.0.1", usPort);
    CFd peer = rawAccept(listener.get());
    ASSERT_TRUE(waitUntil([&] { return proxy.isConnect(); }));

    CCursor cursor;
    cursor.setID(7);
    cursor.setTouchStatus(CCursor::TOUCH_STATUS_MOVE);
    cursor.setX(10);
    cursor.setXDelta(-3);
    cursor.setXSpeed(5);
    cursor.setY(20);
    cursor.setYDelta(4);
    cursor.setYSpeed(-6);
    cursor.setTimestamp(123);
    CXMLParser logic;
    logic.create(CXMLParser::XML_ENCODING_UTF8);
    logic.addRootElement(u"state")->addChild(u"speed")->setAttribute(u"value", 42);
    const std::string xmlHeader = XML_ROOT.substr(0, XML_ROOT.size() - 6);
    const struct
    {
        std::function<void()> send;
        std::string expected;
    } cases[] = {
        {[&] { proxy.sendTouchInput(cursor); },
         xmlFrame(XML_ROOT + "<touch_input id=\"7\" time_stamp=\"123\" touch_status=\"2\" x=\"10\" x_delta=\"-3\" "
                             "x_speed=\"5\" y=\"20\" y_delta=\"4\" y_speed=\"-6\"/></root>")},
        {[&] { proxy.sendPageCMD(EHandle(-4), u"Main&Menu"); },
         xmlFrame(XML_ROOT + "<page_cmd ope_handle=\"-4\" page_name=\"Main&amp;Menu\"/></root>")},
        // Deliberately "page_name", though a received popup is read from "popup_name".
        {[&] { proxy.sendPopupCMD(EHandle(3), u"Alert"); },
         xmlFrame(XML_ROOT + "<popup_cmd ope_handle=\"3\" page_name=\"Alert\"/></root>")},
        {[&] { proxy.sendLogicData(&logic, false); }, xmlFrame(xmlHeader + "<state><speed value=\"42\"/></state>")},
        {[&] { proxy.sendLogicData(&logic, true); },
         xmlFrame(xmlHeader + "\n<state>\n\t<speed value=\"42\"/>\n</state>\n")},
        {[&] { proxy.sendLogicData(bytesOf("\x01\x00\xFF"s), 3); }, frame("\x01\x00\xFF"s)},
        {[&] { proxy.sendLogicData(static_cast<const unsigned char*>(nullptr), 0); }, frame("")},
        {[&] { proxy.sendLogicData(static_cast<const unsigned char*>(nullptr), 5); }, ""},
        {[&] { proxy.sendLogicData(nullptr, false); }, ""},
    };
    const std::string marker = frame("end");
    for (const auto& c : cases) {
        c.send();
        proxy.sendLogicData(bytesOf("end"), 3);
        EXPECT_EQ(c.expected + marker, rawReceive(peer.get(), c.expected.size() + marker.size()));
    }
    // Raw mode: the payload alone.
    proxy.setRawConnection(true);
    proxy.sendPageCMD(EHandle(1), u"P");
    const std::string page = XML_ROOT + "<page_cmd ope_handle=\"1\" page_name=\"P\"/></root>" + '\0';
    EXPECT_EQ(page, rawReceive(peer.get(), page.size()));
    proxy.close();
    EXPECT_FALSE(proxy.isConnect());
    EXPECT_TRUE(rawPeerClosed(peer.get()));
}

// What arrives, and with which message type it is queued (at a server).
TEST(CDataTransfer, DeliversCommandsAndDataOnTheMainThread)
{
    tagSession s(true);
    const CBaseMessage::EMessageType TOUCH = CBaseMessage::MESSAGE_TYPE_TOUCH,
                                     DATA = CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER;
    const struct
    {
        std::string bytes;
        CBaseMessage::EMessageType eType;
        std::string heard; // empty: nothing
    } cases[] = {
        {xmlFrame(XML_ROOT + "<touch_input id=\"7\" x=\"10\" x_delta=\"-3\" x_speed=\"5\" y=\"20\" y_delta=\"4\" "
                             "y_speed=\"-6\" touch_status=\"3\" time_stamp=\"4000000000\"/></root>"),
         TOUCH, "touch 7 3 10 -3 5 20 4 -6 0 4000000000"},
        {xmlFrame(XML_ROOT + "<page_cmd ope_handle=\"-2\" page_name=\"Home\"/></root>"), TOUCH, "page -2 Home"},
        // As this library writes it: the name is lost on the way.
        {xmlFrame(XML_ROOT + "<popup_cmd ope_handle=\"3\" page_name=\"Alert\"/></root>"), TOUCH, "popup 3 <null>"},
        {xmlFrame(XML_ROOT + "<popup_cmd ope_handle=\"3\" popup_name=\"Alert\"/></root>"), TOUCH, "popup 3 Alert"},
        // The first command in the order touch, page, popup wins.
        {xmlFrame(XML_ROOT + "<popup_cmd popup_name=\"A\"/><page_cmd page_name=\"B\"/></root>"), TOUCH, "page 0 B"},
        {xmlFrame(XML_ROOT + "<other/></root>"), DATA, "xml <root><other/></root>"},
        // Without its closing zero byte the text still parses.
        {frame("<a b=\"1\"/>", true), DATA, "xml <a b=\"1\"/>"},
        {xmlFrame("<broken"), DATA, ""},
        {frame("bytes\x00\x01"s), DATA, "raw bytes\x00\x01"s},
    };
    for (const auto& c : cases) {
        s.events.m_events.clear();
        s.send(c.bytes);
        ASSERT_TRUE(waitUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 1; }));
        EXPECT_EQ(1u, CMessageCenter::getInstance()->getMessageCountByType(c.eType)) << c.heard;
        pumpMessages();
        EXPECT_EQ(c.heard.empty() ? std::vector<std::string>() : std::vector<std::string>{c.heard}, s.events.m_events);
    }
    // Raw mode: each chunk as it came.
    s.transfer->setRawConnection(true);
    s.events.m_events.clear();
    s.send(frame("x"));
    ASSERT_TRUE(pumpUntil([&] { return s.events.m_events.size() >= 1; }));
    EXPECT_EQ(std::vector<std::string>{"raw " + frame("x")}, s.events.m_events);
    // The peer leaving is a disconnect at a server too.
    s.peer.reset();
    EXPECT_TRUE(pumpUntil([&] { return s.events.m_events.back() == "disconnect"; }));
    EXPECT_FALSE(s.transfer->isConnect());
}

// Chunk by chunk: how many bytes are held back after each, and what is
// delivered in the end. A frame is delivered once, when complete; frames in
// one chunk keep their order; a frame of another type is stepped over only
// when a magic follows it directly, anything else there discards the buffer.
TEST(CDataTransfer, ReassemblesFramesAcrossChunks)
{
    const std::string one = frame("first"), typed = "IVEN\x07", later = frame("later");
    std::string large(300000, 'L');
    large[12345] = 'M';
    const std::string big = frame(large);
    const struct
    {
        const char* pszName;
        std::vector<std::pair<std::string, unsigned int>> chunks; // bytes, then pending
        std::vector<std::string> heard;
    } cases[] = {
        {"split, and frames of another type",
         {{one.substr(0, 3), 3},
          {one.substr(3, 6), 9},
          {"\xAF\x00"s, 9}, // a heartbeat alone in a chunk is swallowed on the way
          {one.substr(9, 4), 13},
          {one.substr(13) + frame("second") + frame("third") + "IVE", 3},
          {"N" + frame("fourth").substr(4), 0},
          {typed + frame("kept"), 0},
          {typed + later.substr(0, 7), 7},
          {later.substr(7), 0},
          {frame("gone", false, 7) + frame("gone too"), 0},
          {frame("next"), 0}},
         {"raw first", "raw second", "raw third", "raw fourth", "raw kept", "raw later", "raw next"}},
        {"large frame", {{big.substr(0, 100000), 100000}, {big.substr(100000), 0}}, {"raw " + large}},
    };
    for (const auto& c : cases) {
        tagSession s;
        for (const auto& [chunk, uiPending] : c.chunks) {
            s.send(chunk);
            ASSERT_TRUE(s.waitPending(uiPending)) << c.pszName;
        }
        ASSERT_TRUE(pumpUntil([&] { return s.events.m_events.size() >= c.heard.size(); })) << c.pszName;
        EXPECT_TRUE(c.heard == s.events.m_events) << c.pszName;
    }
}

// A message made with no payload delivers nothing; one handled while its
// instance has no listener neither, and another instance's end leaves it
// deliverable.
TEST(CMsgDataTransfer, EmptyOrOrphanedMessagesDeliverNothing)
{
    CDataListener heard;
    auto pTransfer = std::make_unique<CDataTransfer>();
    pTransfer->setListener(&heard);
    const std::string payload = XML_ROOT + "<page_cmd page_name=\"x\"/></root>";
    std::unique_ptr<CMsgDataTransfer> pPage(
        CMsgDataTransfer::create(pTransfer.get(), bytesOf(payload), payload.size() + 1, true));
    for (bool bXml : {false, true}) {
        std::unique_ptr<CMsgDataTransfer> pEmpty(CMsgDataTransfer::create(pTransfer.get(), bytesOf(payload), 0, bXml));
        ASSERT_TRUE(pEmpty);
        EXPECT_TRUE(pEmpty->getBytes().isNull());
        EXPECT_FALSE(pEmpty->getDocument() && pEmpty->getDocument()->hasRootElement());
        pEmpty->handleMessage();
    }
    pTransfer->setListener(nullptr);
    pPage->handleMessage();
    pTransfer->setListener(&heard);
    std::make_unique<CDataTransfer>().reset();
    pPage->handleMessage();
    EXPECT_EQ(std::vector<std::string>{"page 0 x"}, heard.m_events);
    CDataTransfer::deleteAllInstance();
}

// Whatever follows, every whole frame before the bad bytes arrives once and
// in order, the bad bytes and what is buffered with them are dropped, and
// the stream recovers with the next frame. A frame of the maximum length is
// accepted, one byte more is not, logged once per connection. A peer that
// vanishes mid-frame takes the part with it; the reconnected stream starts
// clean.
TEST(CDataTransferBadInput, BadBytesDiscardTheBufferOnly)
{
    CLogRecorder log;
    tagSession s;
    s.transfer->setMaxFrameLength(100);
    const struct
    {
        const char* pszName;
        std::string bad;
    } cases[] = {
        {"garbage", "garbage bytes that are no frame"},
        {"zero length", header(0) + "tail"},
        {"one byte over the limit", frame(std::string(101, 'x'))},
        {"huge length", header(0xFFFFFFF0u) + "tail"},
        {"magic, another type, then garbage", "IVEN\x05garbage!"},
    };
    const std::string longest(100, 'L');
    std::vector<std::string> expected;
    for (const auto& c : cases) {
        const std::string b = "f" + std::to_string(expected.size());
        // Frames, then the bad bytes in the same chunk and in one of their own.
        s.send(frame(longest) + c.bad);
        s.send(frame(b));
        s.send(c.bad);
        ASSERT_TRUE(s.waitPending(0)) << c.pszName;
        s.send(frame("next"));
        expected.insert(expected.end(), {"raw " + longest, "raw " + b, "raw next"});
        ASSERT_TRUE(pumpUntil([&] { return s.events.m_events.size() >= expected.size(); })) << c.pszName;
        EXPECT_EQ(expected, s.events.m_events) << c.pszName;
    }
    EXPECT_EQ(1u, log.count("[Warning] Data transfer frame of 101 bytes exceeds the limit of 100 bytes; 221 buffered "
                            "bytes discarded."));
    EXPECT_EQ(1u, log.count("[Warning] Data transfer frame of"));

    s.events.m_events.clear();
    s.send(frame("never whole").substr(0, 15));
    ASSERT_TRUE(s.waitPending(15));
    s.peer.reset();
    ASSERT_TRUE(pumpUntil([&] { return s.events.m_events.size() >= 1; }));
    EXPECT_EQ("disconnect", s.events.m_events[0]);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
    s.accept();
    s.send(header(5000) + "x");
    s.send(frame("d"));
    ASSERT_TRUE(pumpUntil([&] { return s.events.m_events.size() >= 1; }));
    EXPECT_EQ(std::vector<std::string>{"raw d"}, s.events.m_events);
    EXPECT_EQ(1u, log.count("[Warning] Data transfer frame of 5000 bytes exceeds the limit of 100 bytes; 11 buffered "
                            "bytes discarded."));
}

static_assert(CDataTransfer::DEFAULT_MAX_FRAME_LENGTH == 16u * 1024u * 1024u);

#include <ipc/CDataTransfer.h>
#include <ipc/CDataTransferProxy.h>
#include <ipc/CMsgDataTransfer.h>

#include "ipc/DataTransferTestSupport.h"

using namespace IpcTest;

namespace {

IDataTransferListener::EOperationHandle handle(int i)
{
    return static_cast<IDataTransferListener::EOperationHandle>(i);
}

CCursor sampleCursor()
{
    CCursor cursor;
    cursor.setID(7);
    cursor.setTouchStatus(CCursor::TOUCH_STATUS_MOVE);
    cursor.setX(10);
    cursor.setXDelta(-3);
    cursor.setXSpeed(5);
    cursor.setY(20);
    cursor.setYDelta(4);
    cursor.setYSpeed(-6);
    cursor.setDistance(99);
    cursor.setTimestamp(123);
    return cursor;
}

// The events whose first word is one of `kinds`, in order.
std::vector<std::string> only(const std::vector<std::string>& events, const std::vector<std::string>& kinds)
{
    std::vector<std::string> out;
    for (const std::string& e : events) {
        for (const std::string& k : kinds) {
            if (e.compare(0, k.size() + 1, k + " ") == 0 || e == k)
                out.push_back(e);
        }
    }
    return out;
}

unsigned int queued(CBaseMessage::EMessageType eType)
{
    return CMessageCenter::getInstance()->getMessageCountByType(eType);
}

} // namespace

// Every send, byte for byte as the peer reads it (the proxy forwards).
TEST(CDataTransfer, FramesEachKindOfSend)
{
    CMessageCenter::getInstance();
    unsigned short usPort = 0;
    CFd listener = rawListen(usPort);
    CDataTransferProxy proxy;
    proxy.openAsClient(u"127.0.0.1", usPort);
    CFd peer = rawAccept(listener.get());
    ASSERT_TRUE(waitUntil([&] { return proxy.isConnect(); }, 20s));

    CXMLParser logic;
    logic.create(CXMLParser::XML_ENCODING_UTF8);
    logic.addRootElement(u"state")->addChild(u"speed")->setAttribute(u"value", 42);
    const std::string root = XML_HEADER + std::string("<root>");
    const struct
    {
        std::function<void()> send;
        std::string expected;
    } cases[] = {
        {[&] { proxy.sendTouchInput(sampleCursor()); },
         xmlFrame(root + "<touch_input id=\"7\" time_stamp=\"123\" touch_status=\"2\" x=\"10\" x_delta=\"-3\" "
                         "x_speed=\"5\" y=\"20\" y_delta=\"4\" y_speed=\"-6\"/></root>")},
        {[&] { proxy.sendPageCMD(handle(-4), u"Main&Menu"); },
         xmlFrame(root + "<page_cmd ope_handle=\"-4\" page_name=\"Main&amp;Menu\"/></root>")},
        // Deliberately "page_name", though a received popup is read from "popup_name".
        {[&] { proxy.sendPopupCMD(handle(3), u"Alert"); },
         xmlFrame(root + "<popup_cmd ope_handle=\"3\" page_name=\"Alert\"/></root>")},
        {[&] { proxy.sendLogicData(&logic, false); },
         xmlFrame(XML_HEADER + std::string("<state><speed value=\"42\"/></state>"))},
        {[&] { proxy.sendLogicData(&logic, true); },
         xmlFrame(XML_HEADER + std::string("\n<state>\n\t<speed value=\"42\"/>\n</state>\n"))},
        {[&] { proxy.sendLogicData(reinterpret_cast<const unsigned char*>("\x01\x00\xFF"), 3); },
         frame("\x01\x00\xFF"s, false)},
        {[&] { proxy.sendLogicData(reinterpret_cast<const unsigned char*>(""), 0); }, frame("", false)},
        {[&] { proxy.sendLogicData(static_cast<const unsigned char*>(nullptr), 0); }, frame("", false)},
        {[&] { proxy.sendLogicData(static_cast<const unsigned char*>(nullptr), 5); }, ""},
        {[&] { proxy.sendLogicData(nullptr, false); }, ""},
    };
    for (const auto& c : cases) {
        c.send();
        const std::string marker = frame("end", false);
        proxy.sendLogicData(reinterpret_cast<const unsigned char*>("end"), 3);
        EXPECT_EQ(c.expected + marker, rawReceive(peer.get(), c.expected.size() + marker.size()));
    }
    // Raw mode: the payload alone.
    proxy.setRawConnection(true);
    proxy.sendLogicData(reinterpret_cast<const unsigned char*>("plain"), 5);
    proxy.sendPageCMD(handle(1), u"P");
    const std::string page = root + "<page_cmd ope_handle=\"1\" page_name=\"P\"/></root>" + '\0';
    EXPECT_EQ("plain" + page, rawReceive(peer.get(), 5 + page.size()));
    proxy.close();
    EXPECT_FALSE(proxy.isConnect());
    EXPECT_TRUE(rawPeerClosed(peer.get()));
}

// What arrives, and with which message type it is queued.
TEST(CDataTransfer, DeliversCommandsAndDataOnTheMainThread)
{
    tagClientSession s;
    const std::string root = XML_HEADER + std::string("<root>");
    const struct
    {
        std::string bytes;
        CBaseMessage::EMessageType eType;
        std::string heard; // empty: nothing
    } cases[] = {
        {xmlFrame(root + "<touch_input id=\"7\" x=\"10\" x_delta=\"-3\" x_speed=\"5\" y=\"20\" y_delta=\"4\" "
                         "y_speed=\"-6\" touch_status=\"3\" time_stamp=\"4000000000\"/></root>"),
         CBaseMessage::MESSAGE_TYPE_TOUCH, "touch 7 3 10 -3 5 20 4 -6 0 4000000000"},
        // Missing attributes read as 0, the position too.
        {xmlFrame(root + "<touch_input/></root>"), CBaseMessage::MESSAGE_TYPE_TOUCH, "touch 0 0 0 0 0 0 0 0 0 0"},
        {xmlFrame(root + "<page_cmd ope_handle=\"-2\" page_name=\"Home\"/></root>"), CBaseMessage::MESSAGE_TYPE_TOUCH,
         "page -2 Home"},
        {xmlFrame(root + "<page_cmd/></root>"), CBaseMessage::MESSAGE_TYPE_TOUCH, "page 0 <null>"},
        // As this library writes it: the name is lost on the way.
        {xmlFrame(root + "<popup_cmd ope_handle=\"3\" page_name=\"Alert\"/></root>"),
         CBaseMessage::MESSAGE_TYPE_TOUCH, "popup 3 <null>"},
        {xmlFrame(root + "<popup_cmd ope_handle=\"3\" popup_name=\"Alert\"/></root>"),
         CBaseMessage::MESSAGE_TYPE_TOUCH, "popup 3 Alert"},
        // The first command in the order touch, page, popup wins.
        {xmlFrame(root + "<popup_cmd popup_name=\"A\"/><page_cmd page_name=\"B\"/></root>"),
         CBaseMessage::MESSAGE_TYPE_TOUCH, "page 0 B"},
        {xmlFrame("<state on=\"true\"><x/></state>"), CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER,
         "xml <state on=\"true\"><x/></state>"},
        {xmlFrame(root + "<other/></root>"), CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, "xml <root><other/></root>"},
        // Without its closing zero byte the text still parses.
        {frame("<a b=\"1\"/>", true), CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, "xml <a b=\"1\"/>"},
        {frame("\xEF\xBB\xBF<a/>"s + '\0', true), CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, "xml <a/>"},
        {xmlFrame("<broken"), CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, ""},
        {frame("bytes\x00\x01"s, false), CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, "raw bytes\x00\x01"s},
    };
    for (const auto& c : cases) {
        s.events.m_events.clear();
        s.sendChunk(c.bytes);
        ASSERT_TRUE(waitUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 1; }, 20s));
        EXPECT_EQ(1u, queued(c.eType)) << c.heard;
        pumpMessages();
        EXPECT_EQ(c.heard.empty() ? std::vector<std::string>() : std::vector<std::string>{c.heard}, s.events.m_events);
    }
}

// Frames split over chunks are delivered once, when complete; several frames
// in one chunk keep their order; a short chunk is only held back.
TEST(CDataTransfer, ReassemblesFramesAcrossChunks)
{
    tagClientSession s;
    const std::string one = frame("first", false);
    s.sendChunk(one.substr(0, 3));
    ASSERT_TRUE(s.waitPending(3));
    s.sendChunk(one.substr(3, 6));
    ASSERT_TRUE(s.waitPending(9));
    s.sendChunk(one.substr(9, 4));
    ASSERT_TRUE(s.waitPending(13));
    EXPECT_EQ(0u, CMessageCenter::getInstance()->getMessageCount());
    s.sendChunk(one.substr(13) + frame("second", false) + frame("third", false) + "IVE");
    ASSERT_TRUE(s.events.waitFor(3));
    EXPECT_EQ(3u, s.transfer->getPendingSize());
    EXPECT_EQ((std::vector<std::string>{"raw first", "raw second", "raw third"}), s.events.m_events);
    s.sendChunk("N" + frame("fourth", false).substr(4));
    ASSERT_TRUE(s.events.waitFor(4));
    EXPECT_EQ("raw fourth", s.events.m_events.back());
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

// A frame of another type is stepped over only when a magic follows it
// directly; anything else there discards the buffer.
TEST(CDataTransfer, FrameOfAnotherTypeIsSteppedOver)
{
    tagClientSession s;
    const std::string typed = frame("x", false).substr(0, 5).replace(4, 1, "\x07");
    s.sendChunk(typed + frame("kept", false));
    ASSERT_TRUE(s.events.waitFor(1));
    EXPECT_EQ("raw kept", s.events.m_events.back());
    // A frame cut inside its header after a stepped-over one waits for the rest.
    s.sendChunk(typed + frame("later", false).substr(0, 7));
    ASSERT_TRUE(s.waitPending(7));
    s.sendChunk(frame("later", false).substr(7));
    ASSERT_TRUE(s.events.waitFor(2));
    EXPECT_EQ("raw later", s.events.m_events.back());
    s.sendChunk(frame("gone", false, 7) + frame("gone too", false));
    s.sendChunk(frame("next", false));
    ASSERT_TRUE(s.events.waitFor(3));
    EXPECT_EQ((std::vector<std::string>{"raw kept", "raw later", "raw next"}), s.events.m_events);
    EXPECT_EQ(0u, s.transfer->getPendingSize());
}

// Connection events reach the listener in order; the thread of a client
// made by the data transfer takes the "dt" entry's name (none here).
TEST(CDataTransfer, ReportsConnectionsAndReconnects)
{
    CLogRecorder log;
    tagClientSession s;
    s.peer.reset();
    ASSERT_TRUE(s.events.waitFor(1));
    EXPECT_FALSE(s.transfer->isConnect());
    s.peer = rawAccept(s.listener.get());
    ASSERT_TRUE(s.events.waitFor(2));
    EXPECT_TRUE(s.transfer->isConnect());
    EXPECT_EQ((std::vector<std::string>{"disconnect", "connect"}), s.events.m_events);
    EXPECT_EQ(2u, log.count("[Info] Socket client () has connected with the socket server (" +
                            std::to_string(s.usPort) + ")."));
}

// Opening is refused for port 0, an empty address, or while open.
TEST(CDataTransfer, OpensOneEndpointAtATime)
{
    tagClientSession s;
    CLogRecorder log;
    s.transfer->openAsClient(u"127.0.0.1", s.usPort);
    s.transfer->openAsServer(s.usPort + 1, u"127.0.0.1");
    CDataTransfer idle;
    idle.openAsServer(0);
    idle.openAsServer(0, u"127.0.0.1");
    idle.openAsClient(u"", s.usPort);
    idle.openAsClient(u"127.0.0.1", 0);
    EXPECT_FALSE(rawAccept(s.listener.get(), 300ms).valid());
    // No second endpoint was made: no server thread started, no other client.
    EXPECT_EQ(0u, log.countPrefix("[Info] Socket server"));
    EXPECT_EQ(0u, log.countPrefix("[Info] Socket client"));
    idle.close();
    EXPECT_FALSE(idle.isConnect());
    EXPECT_TRUE(s.transfer->isConnect());
}

// A server and a client of this library in one process, framed and raw.
TEST(CDataTransfer, ServerAndClientEndToEnd)
{
    CMessageCenter::getInstance();
    unsigned short usPort = 0;
    CFd reserve = rawListen(usPort);
    reserve.reset();
    CDataListener serverEvents, clientEvents;
    CDataTransfer server, client;
    server.setListener(&serverEvents);
    client.setListener(&clientEvents);
    server.openAsServer(usPort, u"127.0.0.1");
    client.openAsClient(u"127.0.0.1", usPort);
    ASSERT_TRUE(pumpUntil([&] { return serverEvents.m_events.size() == 1 && clientEvents.m_events.size() == 1; }));
    EXPECT_TRUE(server.isConnect());

    client.sendTouchInput(sampleCursor());
    client.sendPageCMD(handle(5), u"Settings");
    client.sendPopupCMD(handle(6), u"Volume");
    CXMLParser logic;
    logic.parseFromString(u"<state a=\"1\"/>");
    client.sendLogicData(&logic, true);
    client.sendLogicData(reinterpret_cast<const unsigned char*>("raw"), 3);
    // The server side addresses client 0, which is never the peer here.
    server.sendPageCMD(handle(1), u"Lost");
    ASSERT_TRUE(serverEvents.waitFor(6));
    // Commands travel in the input queue, data in the data queue: each keeps
    // its own order.
    EXPECT_EQ((std::vector<std::string>{"touch 7 2 10 -3 5 20 4 -6 0 123", "page 5 Settings", "popup 6 <null>"}),
              only(serverEvents.m_events, {"touch", "page", "popup"}));
    EXPECT_EQ((std::vector<std::string>{"connect", "xml <state a=\"1\"/>", "raw raw"}),
              only(serverEvents.m_events, {"connect", "xml", "raw"}));

    server.setRawConnection(true);
    client.setRawConnection(true);
    client.sendLogicData(reinterpret_cast<const unsigned char*>("\xAF\xAF"), 2);
    ASSERT_TRUE(serverEvents.waitFor(7));
    EXPECT_EQ("raw \xAF\xAF", serverEvents.m_events.back());
    pumpMessages();
    EXPECT_EQ(std::vector<std::string>{"connect"}, clientEvents.m_events);

    client.close();
    ASSERT_TRUE(serverEvents.waitFor(8));
    EXPECT_EQ("disconnect", serverEvents.m_events.back());
    server.close();
    CMessageCenter::getInstance()->clearMessageList();
}

// After a framed send the client's heartbeat runs, 5 s after the last send.
TEST(CDataTransfer, HeartBeatFollowsTheLastFramedSend)
{
    CFakeTime time;
    tagClientSession s;
    s.transfer->sendLogicData(reinterpret_cast<const unsigned char*>("a"), 1);
    ASSERT_EQ(frame("a", false), rawReceive(s.peer.get(), 11));
    for (int i = 0; i < 2; ++i) {
        time.advance(4990);
        ASSERT_TRUE(waitForChecks());
        pumpMessages();
        EXPECT_EQ("", rawReceive(s.peer.get(), 1, 50ms));
        time.advance(10);
        ASSERT_TRUE(pumpUntil([&] { return bytesQueued(s.peer.get()) >= 2; }));
        EXPECT_EQ("\xAF\x00"s, rawReceive(s.peer.get(), 2));
    }
    // A send moves the next beat to 5 s after it.
    time.advance(3000);
    s.transfer->sendLogicData(reinterpret_cast<const unsigned char*>("b"), 1);
    ASSERT_EQ(frame("b", false), rawReceive(s.peer.get(), 11));
    time.advance(4990);
    ASSERT_TRUE(waitForChecks());
    pumpMessages();
    EXPECT_EQ("", rawReceive(s.peer.get(), 1, 50ms));
    // Raw sends leave the heartbeat alone.
    s.transfer->setRawConnection(true);
    s.transfer->sendLogicData(reinterpret_cast<const unsigned char*>("c"), 1);
    time.advance(10);
    ASSERT_TRUE(pumpUntil([&] { return bytesQueued(s.peer.get()) >= 3; }));
    EXPECT_EQ("c\xAF\x00"s, rawReceive(s.peer.get(), 3));
}

// Destroyed with messages still queued: its type 33 messages go with it,
// its type 20 ones stay and deliver nothing; a later instance (perhaps at
// the same address) is served as usual.
TEST(CDataTransfer, DestructionLeavesNothingToDeliver)
{
    CMessageCenter::getInstance();
    CDataListener heard;
    for (int iRound = 0; iRound < 3; ++iRound) {
        unsigned short usPort = 0;
        CFd listener = rawListen(usPort);
        auto pTransfer = std::make_unique<CDataTransfer>();
        pTransfer->setListener(&heard);
        pTransfer->openAsClient(u"127.0.0.1", usPort);
        CFd peer = rawAccept(listener.get());
        ASSERT_TRUE(heard.waitFor(1));
        heard.m_events.clear();
        const std::string root = XML_HEADER + std::string("<root>");
        ASSERT_TRUE(rawSend(peer.get(), xmlFrame(root + "<touch_input id=\"1\"/></root>") +
                                            xmlFrame(root + "<page_cmd page_name=\"p\"/></root>") +
                                            frame("data", false) + xmlFrame(root + "<touch_input id=\"2\"/></root>")));
        ASSERT_TRUE(waitUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 4; }, 20s));
        if (iRound < 2) {
            pTransfer.reset();
            EXPECT_EQ(3u, queued(CBaseMessage::MESSAGE_TYPE_TOUCH));
            EXPECT_EQ(0u, queued(CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER));
            // A successor, likely at the same address, hears none of it.
            CDataListener successorHeard;
            CDataTransfer successor;
            successor.setListener(&successorHeard);
            EXPECT_EQ(3u, pumpMessages());
            EXPECT_TRUE(heard.m_events.empty());
            EXPECT_TRUE(successorHeard.m_events.empty());
        } else {
            EXPECT_EQ(4u, pumpMessages());
            EXPECT_EQ((std::vector<std::string>{"touch 1 0 0 0 0 0 0 0 0 0", "page 0 p", "touch 2 0 0 0 0 0 0 0 0 0"}),
                      only(heard.m_events, {"touch", "page"}));
            EXPECT_EQ(std::vector<std::string>{"raw data"}, only(heard.m_events, {"raw"}));
        }
    }
    CDataTransfer::deleteAllInstance();
}

// A message built for one life of an instance is not delivered to another.
TEST(CMsgDataTransfer, EmptyOrForeignMessagesDeliverNothing)
{
    CDataListener heard;
    CMsgDataTransfer empty;
    EXPECT_EQ(CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, empty.getType());
    empty.handleMessage();

    auto pTransfer = std::make_unique<CDataTransfer>();
    pTransfer->setListener(&heard);
    std::unique_ptr<CMsgDataTransfer> pConnect(new CMsgDataTransfer(pTransfer.get(), true));
    const std::string payload = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><root><page_cmd page_name=\"x\"/></root>";
    std::unique_ptr<CMsgDataTransfer> pPage(CMsgDataTransfer::create(
        pTransfer.get(), reinterpret_cast<const unsigned char*>(payload.c_str()), payload.size() + 1, true));
    EXPECT_EQ(static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(pTransfer.get())), pPage->getID());
    EXPECT_EQ(CBaseMessage::MESSAGE_TYPE_TOUCH, pPage->getType());
    EXPECT_TRUE(pConnect->isConnectionEvent() && pConnect->isConnected());
    EXPECT_FALSE(pPage->isConnectionEvent() || pPage->isConnected());
    // Empty payloads: a message that delivers nothing, of type 33.
    for (bool bXml : {false, true}) {
        std::unique_ptr<CMsgDataTransfer> pEmpty(CMsgDataTransfer::create(
            pTransfer.get(), reinterpret_cast<const unsigned char*>(payload.c_str()), 0, bXml));
        ASSERT_TRUE(pEmpty);
        EXPECT_EQ(CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER, pEmpty->getType());
        EXPECT_TRUE(pEmpty->getBytes().isNull());
        EXPECT_FALSE(pEmpty->getDocument() && pEmpty->getDocument()->hasRootElement());
        pEmpty->handleMessage();
    }
    pConnect->handleMessage();
    pPage->handleMessage();
    EXPECT_EQ((std::vector<std::string>{"connect", "page 0 x"}), heard.m_events);
    pTransfer.reset();
    pConnect->handleMessage();
    pPage->handleMessage();
    EXPECT_EQ(2u, heard.m_events.size());
    CDataTransfer::deleteAllInstance();
}

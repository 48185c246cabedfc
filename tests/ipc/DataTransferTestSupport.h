#pragma once

// The data transfer tests' pieces: a listener that records what reaches the
// main thread, frames built by hand, and a client-mode data transfer wired
// to a plain socket server of the test.

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <input/CCursor.h>
#include <ipc/CDataTransfer.h>
#include <ipc/IDataTransferListener.h>

#include "ipc/SocketTestSupport.h"

#include <memory>

namespace IpcTest {

// What the listener heard, one line per call.
class CDataListener : public IDataTransferListener
{
public:
    void onConnect() override { m_events.push_back("connect"); }
    void onDisconnect() override { m_events.push_back("disconnect"); }
    void onTouchInputAvailable(const CCursor& c) override
    {
        m_events.push_back("touch " + std::to_string(c.getID()) + " " + std::to_string(c.getTouchStatus()) + " " +
                           std::to_string(c.getX()) + " " + std::to_string(c.getXDelta()) + " " +
                           std::to_string(c.getXSpeed()) + " " + std::to_string(c.getY()) + " " +
                           std::to_string(c.getYDelta()) + " " + std::to_string(c.getYSpeed()) + " " +
                           std::to_string(c.getDistance()) + " " + std::to_string(c.getTimestamp()));
    }
    void onPageCMDAvailable(EOperationHandle eHandle, CString strName) override
    {
        m_events.push_back("page " + std::to_string(eHandle) + " " + nameOf(strName));
    }
    void onPopupCMDAvailable(EOperationHandle eHandle, CString strName) override
    {
        m_events.push_back("popup " + std::to_string(eHandle) + " " + nameOf(strName));
    }
    void onLogicDataAvailable(CArrayPtr<unsigned char> bytes) override
    {
        m_events.push_back("raw " + std::string(reinterpret_cast<const char*>(bytes.get()), bytes.getCount()));
    }
    void onLogicDataAvailable(CXMLParser* pDocument) override
    {
        CString strText;
        pDocument->getRootElement()->saveTo(strText, false, false);
        m_events.push_back("xml " + toUtf8(strText));
    }

    static std::string nameOf(const CString& strName) { return strName.isEmpty() ? "<null>" : toUtf8(strName); }

    // Runs the main loop until n events were heard.
    bool waitFor(size_t n) { return pumpUntil([&] { return m_events.size() >= n; }); }

    std::vector<std::string> m_events;
};

// One frame as the protocol lays it out.
inline std::string frame(const std::string& payload, bool bXml, unsigned char ucType = 0)
{
    std::string out = "IVEN";
    out += static_cast<char>(ucType);
    const unsigned int uiLength = static_cast<unsigned int>(payload.size());
    for (int i = 0; i < 4; ++i)
        out += static_cast<char>(uiLength >> (8 * i));
    out += static_cast<char>(bXml ? 1 : 0);
    return out + payload;
}

// An XML payload: the text and its closing zero byte.
inline std::string xmlFrame(const std::string& text)
{
    return frame(text + '\0', true);
}

inline const char* const XML_HEADER = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// A data transfer in client mode connected to a plain server socket of the
// test, with the message center on the test thread.
struct tagClientSession
{
    tagClientSession()
    {
        CMessageCenter::getInstance();
        listener = rawListen(usPort);
        transfer = std::make_unique<CDataTransfer>();
        transfer->setListener(&events);
        transfer->openAsClient(u"127.0.0.1", usPort);
        peer = rawAccept(listener.get());
        EXPECT_TRUE(peer.valid());
        EXPECT_TRUE(events.waitFor(1));
        EXPECT_TRUE(transfer->isConnect());
        events.m_events.clear();
    }
    ~tagClientSession()
    {
        transfer.reset();
        CMessageCenter::getInstance()->clearMessageList();
    }
    // Sends bytes that the data transfer reads as one chunk of their own.
    void sendChunk(const std::string& bytes)
    {
        ASSERT_TRUE(rawSend(peer.get(), bytes));
        ullSent += bytes.size();
        ASSERT_TRUE(waitConsumed(peer.get(), ullSent));
    }

    // Waits until the data transfer holds exactly that many bytes back.
    bool waitPending(unsigned int uiSize) const
    {
        return waitUntil([&] { return transfer->getPendingSize() == uiSize; }, 20s);
    }

    unsigned short usPort = 0;
    CFd listener;
    CFd peer;
    CDataListener events;
    std::unique_ptr<CDataTransfer> transfer;
    unsigned long long ullSent = 0;
};

} // namespace IpcTest

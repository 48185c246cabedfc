#pragma once

// Threading contract
// ------------------
// - open*, close, setListener, setRawConnection, setMaxFrameLength and the
//   destructor are called by the controlling (main) thread.
// - The endpoint's thread runs the socket callbacks and parseData; they
//   touch only the pending bytes, the connected flag and the message queue.
// - Listener calls happen on the thread that handles messages (the main
//   thread), through CMsgDataTransfer.
// - The send functions may be called from any thread; the endpoint is held
//   by a lock while a send uses it, so close waits for a send in progress.

#include <foundation/CByteBuffer.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <ipc/IDataTransferListener.h>
#include <ipc/ISocketClientListener.h>
#include <ipc/ISocketServerListener.h>
#include <platform/CSyncObject.h>
#include <text/CString.h>

#include <atomic>

namespace Trell {

class CCursor;
class CMsgDataTransfer;
class CSocketClient;
class CSocketServer;
class CXMLParser;

// The remote-control protocol on one TCP endpoint: framing of outgoing
// payloads, reassembly of incoming frames, and delivery of commands and
// data to an IDataTransferListener on the main thread.
//
// A frame is a 10-byte header and a payload, multi-byte fields little-endian:
//   0  4  magic 0x4E455649 (the bytes "IVEN")
//   4  1  frame type, always 0
//   5  4  payload length
//   9  1  payload kind: 1 XML document (UTF-8 text and a counted 0x00), 0 raw
// A wrong magic or a zero length discards every buffered byte; so does a
// length above the maximum frame length (DEFAULT_MAX_FRAME_LENGTH unless
// set), so that a peer cannot make the engine buffer without bound. In raw
// mode nothing is framed: each chunk received is one raw payload.
class ECS_API CDataTransfer : public CObject, public ISocketServerListener, public ISocketClientListener
{
    TRELL_DECLARE_ALLOCATOR(u"CDataTransfer")

public:
    static const unsigned int FRAME_MAGIC = 0x4E455649;
    static const unsigned int FRAME_HEADER_SIZE = 10;
    static const unsigned char PAYLOAD_RAW = 0;
    static const unsigned char PAYLOAD_XML = 1;
    // 16 MiB.
    static const unsigned int DEFAULT_MAX_FRAME_LENGTH = 16u * 1024u * 1024u;
    // The receive buffer of the endpoints.
    static const unsigned int SOCKET_BUFFER_SIZE = 1048576;

    CDataTransfer();
    // Records the instance as destroyed, detaches and closes, and drops its
    // queued type 33 messages; its queued type 20 messages are dropped when
    // they come up.
    ~CDataTransfer() override;

    // Not owned.
    void setListener(IDataTransferListener* pListener) { m_pListener.store(pListener); }
    IDataTransferListener* getListener() const { return m_pListener.load(); }

    // Listens on the port on every interface (refused while an endpoint
    // exists, or for port 0).
    void openAsServer(unsigned int uiPort);
    // The same on one interface only, such as "127.0.0.1" for development;
    // an empty address means every interface.
    void openAsServer(unsigned int uiPort, const CString& strBindAddress);
    // Connects, and reconnects, to a dotted IPv4 address (refused while an
    // endpoint exists, for an empty address or for port 0).
    void openAsClient(const CString& strAddress, unsigned int uiPort);
    // Stops and deletes the endpoint; afterwards not connected, nothing buffered.
    void close();
    bool isConnect() const { return m_bConnected.load(); }

    // Raw mode: no framing either way.
    void setRawConnection(bool bRaw) { m_bRawConnection.store(bRaw); }
    bool isRawConnection() const { return m_bRawConnection.load(); }
    // The largest payload length accepted from the peer; a longer announced
    // frame discards the buffered bytes and is logged once per connection.
    void setMaxFrameLength(unsigned int uiLength) { m_uiMaxFrameLength.store(uiLength); }
    unsigned int getMaxFrameLength() const { return m_uiMaxFrameLength.load(); }
    // Bytes held back until the rest of their frame arrives (endpoint thread;
    // for monitoring from elsewhere it is a snapshot).
    unsigned int getPendingSize() const { return m_uiPendingSize.load(); }

    // A "touch_input" document from the cursor (its distance is not sent).
    void sendTouchInput(const CCursor& cursor);
    // A "page_cmd" document.
    void sendPageCMD(IDataTransferListener::EOperationHandle eHandle, CString strPageName);
    // A "popup_cmd" document. It names the popup in the attribute
    // "page_name", while a received popup command is read from "popup_name".
    void sendPopupCMD(IDataTransferListener::EOperationHandle eHandle, CString strPopupName);
    // The document's header and root as an XML payload; nothing for null.
    void sendLogicData(CXMLParser* pDocument, bool bFormatted);
    // The bytes as a raw payload.
    void sendLogicData(const unsigned char* pData, unsigned int uiLength);

    // Frees the list of destroyed instances.
    static void deleteAllInstance();

protected:
    // ISocketServerListener / ISocketClientListener (endpoint thread).
    void onConnect(CSocketServer* pServer, unsigned int uiClient) override;
    void onDisconnect(CSocketServer* pServer, unsigned int uiClient) override;
    void onDataAvailable(CSocketServer* pServer, unsigned int uiClient, unsigned char* pData, int iLength) override;
    void onConnect(CSocketClient* pClient) override;
    void onDisconnect(CSocketClient* pClient) override;
    void onDataAvailable(CSocketClient* pClient, unsigned char* pData, int iLength) override;

    friend class CMsgDataTransfer;

    CDataTransfer(const CDataTransfer&) = delete;
    CDataTransfer& operator=(const CDataTransfer&) = delete;

    // Frames the payload (unless raw) and sends it through the endpoint.
    void sendData(const unsigned char* pData, unsigned int uiLength, bool bXml);
    // Reassembles frames from one received chunk and queues their payloads.
    void parseData(const unsigned char* pData, unsigned int uiLength);
    // Main thread: a connection event.
    void handleDataTransferMessage(bool bConnected);
    // Main thread: a received document.
    void handleDataTransferMessage(CXMLParser* pDocument);
    // Main thread: received raw bytes, handed on to the listener.
    void handleDataTransferMessage(CArrayPtr<unsigned char> bytes);
    bool canNotifyListener() const { return m_pListener.load() != nullptr; }

    unsigned int getSerial() const { return m_uiSerial; }

private:
    void openEndpoint(CSocketServer* pServer, CSocketClient* pClient);
    void setConnected(bool bConnected);
    // Queues a message (null is ignored).
    void queue(CMsgDataTransfer* pMessage);
    // Queues the frames of [pData, pData + uiSize). Returns the offset of the
    // first byte to keep, or -1 when everything is to go; uiFrameSize is the
    // whole size of the incomplete frame kept, when its header is there (0
    // otherwise).
    long long parseFrames(const unsigned char* pData, unsigned int uiSize, unsigned int& uiFrameSize);
    void logOversize(unsigned int uiLength, unsigned int uiBuffered);
    void clearPending();
    // Whether a message of pDataTransfer's life uiSerial may be delivered:
    // only while that life lasts. A message of an ended life takes its
    // instance's record out of the destroyed list, if it is still there.
    static bool acceptMessage(const CDataTransfer* pDataTransfer, unsigned int uiSerial);

    std::atomic<IDataTransferListener*> m_pListener;
    std::atomic<CSocketServer*> m_pServer;
    std::atomic<CSocketClient*> m_pClient;
    std::atomic<bool> m_bRawConnection;
    std::atomic<bool> m_bConnected;
    // Endpoint thread only (and close, once that thread is stopped).
    CByteBuffer m_pending;
    std::atomic<unsigned int> m_uiPendingSize;
    std::atomic<unsigned int> m_uiMaxFrameLength;
    // Endpoint thread: whether this connection's oversized frame is logged.
    bool m_bOversizeLogged;
    // Held by a send while it uses the endpoint, and by close to take it away.
    CSyncObject m_syncEndpoint;
    const unsigned int m_uiSerial;
};

} // namespace Trell

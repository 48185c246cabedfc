#pragma once

// Threading: initSocket, connect and receive run on the server's own thread;
// sendData on any thread; closeSocket on the server's thread or the one that
// stops it. A close ends an accept or receive that is waiting within
// CSocketHandle::WAIT_SLICE_MS.

#include <platform/ISocketServer.h>
#include <platform/win32/SocketHandle.h>

#include <atomic>

namespace Trell {

class ISocketServerOwner;

// TCP/IPv4 listening socket on Windows Sockets 2.2 that serves one client at
// a time (backlog 1). The accepted client's socket is its handle.
//
// The client's receive timeout is 60 s; sends leave without delay
// (TCP_NODELAY) and give up after SEND_TIMEOUT_MS when the client stops
// reading. Without a receive buffer no socket is made. A client whose
// receive ended (closed, failed or timed out) is closed here, so that it
// learns that it has been dropped.
class CImpSocketServer : public ISocketServer
{
    TRELL_DECLARE_ALLOCATOR(u"CImpSocketServer")

public:
    static const unsigned int RECEIVE_TIMEOUT_MS = 60000;
    static const unsigned int SEND_TIMEOUT_MS = 5000;
    static const int BACKLOG = 1;

    // Takes ownership of pOwner.
    explicit CImpSocketServer(ISocketServerOwner* pOwner);
    ~CImpSocketServer() override;

    bool initSocket() override;
    void closeSocket() override;
    unsigned int connect() override;
    int receive(unsigned int uiClient) override;
    int sendData(const unsigned char* pData, unsigned int uiLength, unsigned int uiClient) override;

private:
    CImpSocketServer(const CImpSocketServer&) = delete;
    CImpSocketServer& operator=(const CImpSocketServer&) = delete;

    ISocketServerOwner* m_pOwner;
    CSocketHandle m_listen;
    CSocketHandle m_client;
    // The accepted client's handle, or 0xFFFFFFFF.
    std::atomic<unsigned int> m_uiClient;
    bool m_bStarted; // WSAStartup succeeded, so the destructor owes a WSACleanup
};

} // namespace Trell

#pragma once

// Threading: initSocket, connect and receive run on the client's own thread;
// sendData on any thread; closeSocket on the client's thread or the one that
// stops it. A close ends a receive or connect that is waiting within
// CSocketHandle::WAIT_SLICE_MS.

#include <platform/ISocketClient.h>
#include <platform/win32/SocketHandle.h>

namespace Trell {

class ISocketClientOwner;

// TCP/IPv4 client socket on Windows Sockets 2.2.
//
// The receive timeout is 20 s; a connect that is still in progress is given
// 3 s. Sends leave without delay (TCP_NODELAY) and give up after
// SEND_TIMEOUT_MS on a blocking socket whose peer stops reading. Without a
// receive buffer no socket is made. A failed connect reports the
// WSAGetLastError code.
class CImpSocketClient : public ISocketClient
{
    TRELL_DECLARE_ALLOCATOR(u"CImpSocketClient")

public:
    static const unsigned int RECEIVE_TIMEOUT_MS = 20000;
    static const unsigned int CONNECT_TIMEOUT_MS = 3000;
    static const unsigned int SEND_TIMEOUT_MS = 5000;

    // Takes ownership of pOwner.
    explicit CImpSocketClient(ISocketClientOwner* pOwner);
    ~CImpSocketClient() override;

    bool initSocket() override;
    void closeSocket() override;
    bool connect(int& iError) override;
    bool receive(int& iCount) override;
    int sendData(const unsigned char* pData, unsigned int uiLength) override;

private:
    CImpSocketClient(const CImpSocketClient&) = delete;
    CImpSocketClient& operator=(const CImpSocketClient&) = delete;

    ISocketClientOwner* m_pOwner;
    CSocketHandle m_socket;
    bool m_bStarted; // WSAStartup succeeded, so the destructor owes a WSACleanup
};

} // namespace Trell

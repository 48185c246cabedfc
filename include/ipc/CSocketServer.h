#pragma once

// Threading contract
// ------------------
// - The server's own thread (a CThread) listens, accepts and receives; the
//   listener is called on it, synchronously, and must hand data to other
//   threads itself.
// - start, stop, prepareStop, setBindAddress and the destructor are called
//   by the controlling thread (never by the server's own thread or its
//   listener).
// - sendData and isConnect may be called from any thread; sendData takes no
//   lock and relies on the socket call.

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <platform/CThread.h>
#include <text/CString.h>

#include <atomic>

namespace Trell {

class ISocketServer;
class ISocketServerListener;

// A TCP/IPv4 server that listens on a port on its own thread and serves one
// client at a time (a second client waits in the backlog until the first
// has gone). A heartbeat chunk from the client is answered and never reaches
// the listener.
//
// The server listens on every interface unless setBindAddress names one:
// anyone who can reach the port can drive the engine, so a development
// set-up binds to "127.0.0.1".
class ECS_API CSocketServer : public CObject, public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketServer")

public:
    static const unsigned int DEFAULT_RECEIVE_BUFFER_SIZE = 1048576;
    // The client argument of onDisconnect when there is no client.
    static const unsigned int NO_CLIENT = 0xFFFFFFFF;

    // A receive buffer size of 0 means DEFAULT_RECEIVE_BUFFER_SIZE. Port 0
    // lets the system choose one (see getListeningPort).
    CSocketServer(unsigned int uiPort, unsigned int uiReceiveBufferSize);
    // Closes the sockets, stops the thread, frees the buffer.
    ~CSocketServer() override;

    // Not owned; set it before start.
    void setListener(ISocketServerListener* pListener) { m_pListener.store(pListener); }
    // Dotted IPv4 address to listen on; empty (the default) for every
    // interface. Takes effect at the next start.
    void setBindAddress(const CString& strAddress) { m_strBindAddress = strAddress; }
    const CString& getBindAddress() const { return m_strBindAddress; }
    // Starts the thread unless it runs.
    void start();
    // Asks the thread to stop, closes the sockets, then waits for its end.
    void stop();
    // The same without waiting.
    void prepareStop();
    bool isConnect() const { return m_bConnected.load(); }

    // -1 when not connected or uiClient is not the accepted client;
    // otherwise what one send call gives (partial sends are not completed).
    int sendData(const unsigned char* pData, unsigned int uiLength, unsigned int uiClient);

    unsigned int getPort() const { return m_uiPort; }
    // The port actually listened on (the system's choice for port 0), or 0
    // while not listening.
    unsigned int getListeningPort() const { return m_uiListeningPort.load(); }

    // The thread body.
    void run() override;

protected:
    CSocketServer(const CSocketServer& other);
    CSocketServer& operator=(const CSocketServer& other);

    void notifyConnect(unsigned int uiClient);
    void notifyDisconnect(unsigned int uiClient);
    void notifyDataAvailable(unsigned int uiClient, unsigned char* pData, int iLength);

private:
    friend class CSocketServerOwner;

    std::atomic<ISocketServerListener*> m_pListener;
    unsigned int m_uiPort;
    std::atomic<bool> m_bConnected;
    unsigned char* m_pReceiveBuffer;
    unsigned int m_uiReceiveBufferSize;
    ISocketServer* m_pImpl;
    CString m_strBindAddress;
    std::atomic<unsigned int> m_uiListeningPort;
};

} // namespace Trell

#pragma once

// Threading contract
// ------------------
// - The client's own thread (a CThread) connects, reconnects and receives;
//   the listener is called on it, synchronously, and must hand data to
//   other threads itself.
// - start, stop, prepareStop and the destructor are called by the
//   controlling thread (never by the client's own thread or its listener).
// - sendData, tryToConnect, isConnect and the heartbeat switch may be called
//   from any thread; sendData takes no lock and relies on the socket call.
// - The heartbeat is sent from onTimer, which runs where timer messages are
//   handled (the main thread).

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <platform/CThread.h>
#include <text/CString.h>
#include <timer/CTimer.h>

#include <atomic>

namespace Trell {

class ISocketClient;
class ISocketClientListener;

// A TCP/IPv4 client that connects to a dotted address and port on its own
// thread, retries with growing pauses (1 s for the first five retries, 2 s up
// to the fiftieth, then 5 s; a warning at the first failure and every
// twentieth after it), receives into one buffer of its own and, when the
// connection is lost, connects again if built with autoReconnect.
//
// While connected with the heartbeat switched on it sends the two bytes
// 0xAF 0x00 every HEARTBEAT_DELAY_MS. A received chunk that is a heartbeat
// (see isHeartBeat) never reaches the listener.
class ECS_API CSocketClient : public CObject, public CThread, public ITimerListener
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketClient")

public:
    static const unsigned int DEFAULT_RECEIVE_BUFFER_SIZE = 1048576;
    static const unsigned int HEARTBEAT_DELAY_MS = 5000;

    // A receive buffer size of 0 means DEFAULT_RECEIVE_BUFFER_SIZE.
    CSocketClient(const CString& strAddress, unsigned int uiPort, bool bAutoReconnect,
                  unsigned int uiReceiveBufferSize);
    // Closes the socket, stops the thread, frees the buffer.
    ~CSocketClient() override;

    // Not owned; set it before start.
    void setListener(ISocketClientListener* pListener) { m_pListener.store(pListener); }
    // Starts the thread unless it runs; bBlocking chooses a blocking socket.
    void start(bool bBlocking);
    // Closes the socket, then stops the thread and waits for its end.
    void stop();
    // The same without waiting.
    void prepareStop();
    // Ends a pending retry pause at once.
    void tryToConnect();
    bool isConnect() const { return m_bConnected.load(); }

    // Whether a connection starts the heartbeat.
    void setNeedSendHB(bool bNeedSendHB) { m_bNeedSendHB.store(bNeedSendHB); }
    bool getNeedSendHB() const { return m_bNeedSendHB.load(); }
    // Starts the heartbeat timer unless it runs (first beat HEARTBEAT_DELAY_MS from now).
    void startHeartBeat();
    void stopHeartBeat();

    // -1 when not connected; otherwise what one send call gives (partial
    // sends are not completed).
    int sendData(const unsigned char* pData, unsigned int uiLength);

    // Sends the heartbeat when pTimer is the heartbeat timer.
    void onTimer(const CTimer* pTimer, unsigned int uiCount) override;
    void onTimerComplete(const CTimer* pTimer) override;

    const CString& getAddress() const { return m_strAddress; }
    unsigned int getPort() const { return m_uiPort; }

    // Whether a received chunk is a heartbeat: it starts with 0xAF and is one
    // byte longer than its leading run of 0xAF (0xAF 0x00, 0xAF 0xAF 0x05 ...).
    static bool isHeartBeat(const unsigned char* pData, int iLength);

    // The thread body.
    void run() override;

protected:
    CSocketClient(const CSocketClient& other);
    CSocketClient& operator=(const CSocketClient& other);

    void notifyConnect();
    void notifyDisconnect();
    void notifyDataAvailable(unsigned char* pData, int iLength);

    // The pause in milliseconds after the n-th failed connection in a row.
    static unsigned int getRetryPause(unsigned int uiFailures);

private:
    // Receives until the connection ends or a stop is requested.
    void receiveLoop();
    // Closes the socket and clears the connected flag.
    void closeConnection();

    friend class CSocketClientOwner;

    std::atomic<ISocketClientListener*> m_pListener;
    CString m_strAddress;
    unsigned int m_uiPort;
    bool m_bAutoReconnect;
    std::atomic<bool> m_bBlocking;
    std::atomic<bool> m_bConnected;
    unsigned char* m_pReceiveBuffer;
    unsigned int m_uiReceiveBufferSize;
    CTimer m_heartBeatTimer;
    std::atomic<bool> m_bNeedSendHB;
    ISocketClient* m_pImpl;
};

} // namespace Trell

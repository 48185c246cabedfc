#include <ipc/CSocketServer.h>

#include <ipc/CSocketClient.h>
#include <ipc/ISocketServerListener.h>
#include <platform/ISocketServer.h>
#include <system/CLog.h>
#include <system/CLogEngine.h>
#include <text/CStringConverter.h>

#include "platform/SocketOwner.h"

namespace Trell {

namespace {

const char16_t* nameOf(const CString& strName)
{
    return strName.buffer() ? strName.buffer() : u"";
}

} // namespace

// The server as its platform side sees it.
class CSocketServerOwner : public ISocketServerOwner
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketServerOwner")

public:
    explicit CSocketServerOwner(CSocketServer& server) : m_server(server) {}

    unsigned int getPort() const override { return m_server.m_uiPort; }
    const CString& getBindAddress() const override { return m_server.m_strBindAddress; }
    unsigned char* getReceiveBuffer() const override { return m_server.m_pReceiveBuffer; }
    unsigned int getReceiveBufferSize() const override { return m_server.m_uiReceiveBufferSize; }
    void setListeningPort(unsigned int uiPort) override { m_server.m_uiListeningPort.store(uiPort); }

private:
    CSocketServer& m_server;
};

CSocketServer::CSocketServer(unsigned int uiPort, unsigned int uiReceiveBufferSize)
    : CObject(), CThread(), m_pListener(nullptr), m_uiPort(uiPort), m_bConnected(false), m_pReceiveBuffer(nullptr),
      m_uiReceiveBufferSize(uiReceiveBufferSize ? uiReceiveBufferSize : DEFAULT_RECEIVE_BUFFER_SIZE), m_pImpl(nullptr),
      m_strBindAddress(), m_uiListeningPort(0)
{
    m_pReceiveBuffer = static_cast<unsigned char*>(CMemory::malloc(m_uiReceiveBufferSize, 0));
    if (!m_pReceiveBuffer)
        m_uiReceiveBufferSize = 0;
    if (CSocketServerOwner* pOwner = new CSocketServerOwner(*this))
        m_pImpl = PlatformImp::createSocketServer(pOwner);
}

CSocketServer::~CSocketServer()
{
    stop();
    delete m_pImpl;
    CMemory::free(m_pReceiveBuffer);
}

void CSocketServer::start()
{
    startThread();
}

void CSocketServer::stop()
{
    prepareStop();
    stopThread();
}

void CSocketServer::prepareStop()
{
    prepareStopThread();
    if (m_pImpl)
        m_pImpl->closeSocket();
    m_bConnected.store(false);
}

int CSocketServer::sendData(const unsigned char* pData, unsigned int uiLength, unsigned int uiClient)
{
    if (!m_bConnected.load() || !m_pImpl)
        return -1;
    return m_pImpl->sendData(pData, uiLength, uiClient);
}

void CSocketServer::notifyConnect(unsigned int uiClient)
{
    if (ISocketServerListener* pListener = m_pListener.load())
        pListener->onConnect(this, uiClient);
}

void CSocketServer::notifyDisconnect(unsigned int uiClient)
{
    if (ISocketServerListener* pListener = m_pListener.load())
        pListener->onDisconnect(this, uiClient);
}

void CSocketServer::notifyDataAvailable(unsigned int uiClient, unsigned char* pData, int iLength)
{
    if (ISocketServerListener* pListener = m_pListener.load())
        pListener->onDataAvailable(this, uiClient, pData, iLength);
}

void CSocketServer::run()
{
    const char16_t* pszName = nameOf(m_strThreadName);
    if (!m_pImpl || !m_pImpl->initSocket()) {
        m_bConnected.store(false);
        notifyDisconnect(NO_CLIENT);
        if (CLog::isErrorEnabled())
            CLogEngine::error2(
                CStringConverter::format(u"Fail to create socket server (%ls : %d).", pszName, m_uiPort));
        return;
    }
    if (CLog::isInfoEnabled())
        CLogEngine::info(CStringConverter::format(u"Socket server (%ls : %d) has started.", pszName, m_uiPort));
    bool bAcceptFailed = false;
    while (!isPrepareStopThread()) {
        if (CLog::isInfoEnabled())
            CLogEngine::info(
                CStringConverter::format(u"Socket server (%ls : %d) is waiting for client...", pszName, m_uiPort));
        const unsigned int uiClient = m_pImpl->connect();
        if (uiClient == NO_CLIENT) {
            bAcceptFailed = true;
            break;
        }
        if (CLog::isInfoEnabled())
            CLogEngine::info(CStringConverter::format(u"Socket server (%ls : %d) accepted client 0x%08X.", pszName,
                                                      m_uiPort, uiClient));
        m_bConnected.store(true);
        notifyConnect(uiClient);
        while (!isPrepareStopThread()) {
            const int iCount = m_pImpl->receive(uiClient);
            if (iCount < 1)
                break;
            if (CSocketClient::isHeartBeat(m_pReceiveBuffer, iCount)) {
                // Addressed to client 0, not to the sender: the implementation
                // refuses any handle but the accepted one, so the reply goes
                // out only when that handle is 0. Deliberate, and kept so.
                const unsigned char reply[2] = {0xAF, 0x00};
                sendData(reply, sizeof(reply), 0);
            } else {
                notifyDataAvailable(uiClient, m_pReceiveBuffer, iCount);
            }
        }
        if (CLog::isInfoEnabled())
            CLogEngine::info(CStringConverter::format(u"Client 0x%08X disconnected from the socket server (%ls : %d) ",
                                                      uiClient, pszName, m_uiPort));
        m_bConnected.store(false);
        notifyDisconnect(uiClient);
    }
    if (bAcceptFailed && !isPrepareStopThread()) {
        if (CLog::isErrorEnabled())
            CLogEngine::error2(
                CStringConverter::format(u"Socket server (%ls : %d) can't get client.", pszName, m_uiPort));
        m_bConnected.store(false);
        notifyDisconnect(NO_CLIENT);
    }
    // Nothing listens any more; a stop that came before the listening socket
    // was made has not closed it.
    m_pImpl->closeSocket();
    if (CLog::isInfoEnabled())
        CLogEngine::info(CStringConverter::format(u"Socket server (%ls : %d) terminated.", pszName, m_uiPort));
}

} // namespace Trell

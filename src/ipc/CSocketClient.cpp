#include <ipc/CSocketClient.h>

#include <ipc/ISocketClientListener.h>
#include <platform/ISocketClient.h>
#include <system/CLog.h>
#include <system/CLogEngine.h>
#include <text/CStringConverter.h>

#include "platform/SocketOwner.h"

namespace Trell {

namespace {

const unsigned char HEARTBEAT[2] = {0xAF, 0x00};
// A warning at the first failed connection and at every this many after it.
const unsigned int WARN_EVERY = 20;

const char16_t* nameOf(const CString& strName)
{
    return strName.buffer() ? strName.buffer() : u"";
}

} // namespace

// The client as its platform side sees it.
class CSocketClientOwner : public ISocketClientOwner
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketClientOwner")

public:
    explicit CSocketClientOwner(const CSocketClient& client) : m_client(client) {}

    const CString& getAddress() const override { return m_client.m_strAddress; }
    unsigned int getPort() const override { return m_client.m_uiPort; }
    bool isBlocking() const override { return m_client.m_bBlocking.load(); }
    unsigned char* getReceiveBuffer() const override { return m_client.m_pReceiveBuffer; }
    unsigned int getReceiveBufferSize() const override { return m_client.m_uiReceiveBufferSize; }

private:
    const CSocketClient& m_client;
};

CSocketClient::CSocketClient(const CString& strAddress, unsigned int uiPort, bool bAutoReconnect,
                             unsigned int uiReceiveBufferSize)
    : CObject(), CThread(), ITimerListener(), m_pListener(nullptr), m_strAddress(strAddress), m_uiPort(uiPort),
      m_bAutoReconnect(bAutoReconnect), m_bBlocking(false), m_bConnected(false), m_pReceiveBuffer(nullptr),
      m_uiReceiveBufferSize(uiReceiveBufferSize ? uiReceiveBufferSize : DEFAULT_RECEIVE_BUFFER_SIZE),
      m_heartBeatTimer(HEARTBEAT_DELAY_MS, 0), m_bNeedSendHB(false), m_pImpl(nullptr)
{
    m_pReceiveBuffer = static_cast<unsigned char*>(CMemory::malloc(m_uiReceiveBufferSize, 0));
    if (!m_pReceiveBuffer)
        m_uiReceiveBufferSize = 0;
    if (CSocketClientOwner* pOwner = new CSocketClientOwner(*this))
        m_pImpl = PlatformImp::createSocketClient(pOwner);
}

CSocketClient::~CSocketClient()
{
    if (m_heartBeatTimer.isRunning())
        stopHeartBeat();
    closeConnection();
    stopThread();
    delete m_pImpl;
    CMemory::free(m_pReceiveBuffer);
}

void CSocketClient::start(bool bBlocking)
{
    if (m_bRunning.load())
        return;
    m_bBlocking.store(bBlocking);
    startThread();
}

void CSocketClient::stop()
{
    closeConnection();
    stopThread();
}

void CSocketClient::prepareStop()
{
    closeConnection();
    prepareStopThread();
}

void CSocketClient::tryToConnect()
{
    m_waitWake.notify();
}

void CSocketClient::startHeartBeat()
{
    if (m_heartBeatTimer.isRunning())
        return;
    m_heartBeatTimer.setListener(this);
    m_heartBeatTimer.start();
}

void CSocketClient::stopHeartBeat()
{
    m_heartBeatTimer.setListener(nullptr);
    m_heartBeatTimer.stop();
}

int CSocketClient::sendData(const unsigned char* pData, unsigned int uiLength)
{
    if (!m_bConnected.load() || !m_pImpl)
        return -1;
    return m_pImpl->sendData(pData, uiLength);
}

void CSocketClient::onTimer(const CTimer* pTimer, unsigned int)
{
    if (pTimer == &m_heartBeatTimer)
        sendData(HEARTBEAT, sizeof(HEARTBEAT));
}

void CSocketClient::onTimerComplete(const CTimer*)
{}

unsigned int CSocketClient::getRetryPause(unsigned int uiFailures)
{
    if (uiFailures < 6)
        return 1000;
    if (uiFailures <= 50)
        return 2000;
    return 5000;
}

bool CSocketClient::isHeartBeat(const unsigned char* pData, int iLength)
{
    if (!pData || iLength < 2 || pData[0] != 0xAF)
        return false;
    // The run of 0xAF is counted within the chunk; a run that filled the
    // chunk is no heartbeat whatever lies behind it.
    int iRun = 1;
    while (iRun < iLength && pData[iRun] == 0xAF)
        ++iRun;
    return iLength == iRun + 1;
}

void CSocketClient::notifyConnect()
{
    if (ISocketClientListener* pListener = m_pListener.load())
        pListener->onConnect(this);
}

void CSocketClient::notifyDisconnect()
{
    if (ISocketClientListener* pListener = m_pListener.load())
        pListener->onDisconnect(this);
}

void CSocketClient::notifyDataAvailable(unsigned char* pData, int iLength)
{
    if (ISocketClientListener* pListener = m_pListener.load())
        pListener->onDataAvailable(this, pData, iLength);
}

void CSocketClient::closeConnection()
{
    if (m_pImpl)
        m_pImpl->closeSocket();
    m_bConnected.store(false);
}

void CSocketClient::run()
{
    unsigned int uiFailures = 0;
    for (;;) {
        while (!isPrepareStopThread()) {
            if (!m_pImpl || !m_pImpl->initSocket()) {
                if (CLog::isErrorEnabled())
                    CLogEngine::error2(CStringConverter::format(u"Fail to create socket client (%ls : %d).",
                                                                nameOf(m_strThreadName), m_uiPort));
                prepareStopThread();
                uiFailures = 0;
                break;
            }
            int iError = 0;
            const bool bConnected = m_pImpl->connect(iError);
            if (isPrepareStopThread()) {
                closeConnection();
                notifyDisconnect();
                break;
            }
            if (bConnected) {
                if (CLog::isInfoEnabled())
                    CLogEngine::info(
                        CStringConverter::format(u"Socket client (%ls) has connected with the socket server (%d).",
                                                 nameOf(m_strThreadName), m_uiPort));
                m_bConnected.store(true);
                notifyConnect();
                if (m_bNeedSendHB.load())
                    startHeartBeat();
                uiFailures = 0;
                receiveLoop();
                break;
            }
            closeConnection();
            if (uiFailures % WARN_EVERY == 0 && CLog::isWarningEnabled())
                CLogEngine::warning2(CStringConverter::format(
                    u"Fail to set connection between the socket client (%ls) and socket (%d) server, error code=%d.",
                    nameOf(m_strThreadName), m_uiPort, iError));
            ++uiFailures;
            m_waitWake.wait(getRetryPause(uiFailures));
        }
        if (isPrepareStopThread()) {
            closeConnection();
            notifyDisconnect();
        }
        if (m_bNeedSendHB.load())
            stopHeartBeat();
        if (isPrepareStopThread() || !m_bAutoReconnect)
            return;
    }
}

void CSocketClient::receiveLoop()
{
    for (;;) {
        int iCount = -1;
        const bool bReceived = m_pImpl->receive(iCount);
        if (isPrepareStopThread()) {
            closeConnection();
            notifyDisconnect();
            return;
        }
        if (!bReceived) {
            if (CLog::isInfoEnabled())
                CLogEngine::info(
                    CStringConverter::format(u"Socket client (%ls) has dis-connected with the socket server (%d).",
                                             nameOf(m_strThreadName), m_uiPort));
            closeConnection();
            notifyDisconnect();
            m_waitWake.wait(1000);
            return;
        }
        if (!isHeartBeat(m_pReceiveBuffer, iCount))
            notifyDataAvailable(m_pReceiveBuffer, iCount);
    }
}

} // namespace Trell

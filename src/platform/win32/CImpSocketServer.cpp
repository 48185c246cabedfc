#include <platform/win32/CImpSocketServer.h>

#include <foundation/EngineLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "platform/SocketOwner.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace Trell {

namespace {

const unsigned int NO_CLIENT = 0xFFFFFFFF;

} // namespace

CImpSocketServer::CImpSocketServer(ISocketServerOwner* pOwner)
    : m_pOwner(pOwner), m_uiClient(NO_CLIENT), m_bStarted(Winsock::start())
{
    if (!m_bStarted)
        EngineLog::error(u"Socket server WSAStartup error.");
}

CImpSocketServer::~CImpSocketServer()
{
    closeSocket();
    delete m_pOwner;
    if (m_bStarted)
        Winsock::stop();
}

bool CImpSocketServer::initSocket()
{
    if (!m_pOwner->getReceiveBuffer())
        return false;
    const SOCKET socket = ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    if (socket == INVALID_SOCKET)
        return false;
    const BOOL bReuse = TRUE;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&bReuse), sizeof(bReuse));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(m_pOwner->getPort()));
    const CString& strBind = m_pOwner->getBindAddress();
    if (strBind.length() == 0) {
        address.sin_addr.s_addr = htonl(INADDR_ANY);
    } else {
        char szAddress[32];
        CStringConverter::convertToMBCS(strBind, szAddress, sizeof(szAddress));
        address.sin_addr.s_addr = ::inet_addr(szAddress);
    }
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(socket, BACKLOG) != 0) {
        ::closesocket(socket);
        return false;
    }
    sockaddr_in bound{};
    int iLength = sizeof(bound);
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &iLength) == 0)
        m_pOwner->setListeningPort(ntohs(bound.sin_port));
    return m_listen.adopt(socket);
}

void CImpSocketServer::closeSocket()
{
    if (m_client.peek() != CSocketHandle::NONE) {
        // The shutdown goes to the listening socket, not to the client; the
        // endpoint has always paired them so, and this pairing is kept.
        m_listen.shutdown(SD_BOTH);
        m_client.close(-1);
        m_uiClient.store(NO_CLIENT);
    }
    if (m_listen.close(SD_BOTH))
        m_pOwner->setListeningPort(0);
}

unsigned int CImpSocketServer::connect()
{
    CSocketHandle::CUse use(m_listen);
    if (use.socket() == CSocketHandle::NONE)
        return NO_CLIENT;
    SOCKET client = INVALID_SOCKET;
    while (client == INVALID_SOCKET) {
        if (Winsock::wait(use, false, -1) <= 0)
            return NO_CLIENT;
        client = ::accept(static_cast<SOCKET>(use.socket()), nullptr, nullptr);
        // A client that gave up before it was taken is no reason to stop.
        if (client == INVALID_SOCKET && Winsock::lastError() != WSAECONNRESET)
            return NO_CLIENT;
    }
    // The listening socket's non-inheritance is not passed on to accepted ones.
    ::SetHandleInformation(reinterpret_cast<HANDLE>(client), HANDLE_FLAG_INHERIT, 0);
    Winsock::setTimeout(client, true, RECEIVE_TIMEOUT_MS);
    Winsock::setTimeout(client, false, SEND_TIMEOUT_MS);
    Winsock::setNoDelay(client);
    if (!m_client.adopt(client))
        return NO_CLIENT;
    m_uiClient.store(static_cast<unsigned int>(client));
    return static_cast<unsigned int>(client);
}

int CImpSocketServer::receive(unsigned int uiClient)
{
    if (uiClient != m_uiClient.load())
        return -1;
    CSocketHandle::CUse use(m_client);
    if (use.socket() == CSocketHandle::NONE || static_cast<unsigned int>(use.socket()) != uiClient)
        return -1;
    // The wait stands in for the blocking recv's timeout, which a close could
    // not end.
    int iCount = -1;
    if (Winsock::wait(use, false, static_cast<int>(RECEIVE_TIMEOUT_MS)) > 0)
        iCount = Winsock::receive(use.socket(), m_pOwner->getReceiveBuffer(), m_pOwner->getReceiveBufferSize());
    if (iCount < 1 && m_client.peek() == use.socket()) {
        // The server goes back to accepting: the client is done with.
        m_uiClient.store(NO_CLIENT);
        m_client.close(-1);
    }
    return iCount;
}

int CImpSocketServer::sendData(const unsigned char* pData, unsigned int uiLength, unsigned int uiClient)
{
    if (uiClient != m_uiClient.load())
        return -1;
    CSocketHandle::CUse use(m_client);
    if (use.socket() == CSocketHandle::NONE || static_cast<unsigned int>(use.socket()) != uiClient)
        return -1;
    return Winsock::send(use.socket(), pData, uiLength);
}

} // namespace Trell

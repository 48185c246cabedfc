#include <platform/posix/CImpSocketServer.h>

#include <platform/posix/SocketOptions.h>
#include <text/CString.h>

#include "platform/SocketOwner.h"

#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Trell {

namespace {

const unsigned int NO_CLIENT = 0xFFFFFFFF;

} // namespace

CImpSocketServer::CImpSocketServer(ISocketServerOwner* pOwner) : m_pOwner(pOwner), m_uiClient(NO_CLIENT)
{}

CImpSocketServer::~CImpSocketServer()
{
    closeSocket();
    delete m_pOwner;
}

bool CImpSocketServer::initSocket()
{
    if (!m_pOwner->getReceiveBuffer())
        return false;
    const int iFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (iFd < 0)
        return false;
    const int iReuse = 1;
    ::setsockopt(iFd, SOL_SOCKET, SO_REUSEADDR, &iReuse, sizeof(iReuse));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(m_pOwner->getPort()));
    const CString& strBind = m_pOwner->getBindAddress();
    address.sin_addr.s_addr = strBind.length() == 0 ? htonl(INADDR_ANY) : SocketOptions::toIPv4(strBind);
    if (::bind(iFd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 || ::listen(iFd, BACKLOG) != 0) {
        ::close(iFd);
        return false;
    }
    sockaddr_in bound{};
    socklen_t length = sizeof(bound);
    if (::getsockname(iFd, reinterpret_cast<sockaddr*>(&bound), &length) == 0)
        m_pOwner->setListeningPort(ntohs(bound.sin_port));
    return m_listen.adopt(iFd);
}

void CImpSocketServer::closeSocket()
{
    if (m_client.peek() >= 0) {
        // The shutdown goes to the listening socket, not to the client; the
        // endpoint has always paired them so, and this pairing is kept.
        m_listen.shutdown(SHUT_RDWR);
        // Sends nothing to the client: it only ends a receive in progress
        // here, which closing alone does not do on this system.
        m_client.shutdown(SHUT_RD);
        m_client.close(-1);
        m_uiClient.store(NO_CLIENT);
    }
    if (m_listen.close(SHUT_RDWR))
        m_pOwner->setListeningPort(0);
}

unsigned int CImpSocketServer::connect()
{
    CSocketDescriptor::CUse use(m_listen);
    if (use.socket() < 0)
        return NO_CLIENT;
    int iClient;
    do {
        iClient = ::accept4(use.socket(), nullptr, nullptr, SOCK_CLOEXEC);
    } while (iClient < 0 && (errno == EINTR || errno == ECONNABORTED));
    if (iClient < 0)
        return NO_CLIENT;
    SocketOptions::setTimeout(iClient, SO_RCVTIMEO, RECEIVE_TIMEOUT_MS);
    SocketOptions::setTimeout(iClient, SO_SNDTIMEO, SEND_TIMEOUT_MS);
    SocketOptions::setNoDelay(iClient);
    if (!m_client.adopt(iClient))
        return NO_CLIENT;
    m_uiClient.store(static_cast<unsigned int>(iClient));
    return static_cast<unsigned int>(iClient);
}

int CImpSocketServer::receive(unsigned int uiClient)
{
    if (uiClient != m_uiClient.load())
        return -1;
    CSocketDescriptor::CUse use(m_client);
    if (use.socket() < 0 || static_cast<unsigned int>(use.socket()) != uiClient)
        return -1;
    const int iCount =
        SocketOptions::receive(use.socket(), m_pOwner->getReceiveBuffer(), m_pOwner->getReceiveBufferSize());
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
    CSocketDescriptor::CUse use(m_client);
    if (use.socket() < 0 || static_cast<unsigned int>(use.socket()) != uiClient)
        return -1;
    return SocketOptions::send(use.socket(), pData, uiLength);
}

} // namespace Trell

#include <platform/posix/CImpSocketClient.h>

#include <platform/posix/SocketOptions.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "platform/SocketOwner.h"

#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace Trell {

CImpSocketClient::CImpSocketClient(ISocketClientOwner* pOwner) : m_pOwner(pOwner)
{}

CImpSocketClient::~CImpSocketClient()
{
    closeSocket();
    delete m_pOwner;
}

bool CImpSocketClient::initSocket()
{
    if (!m_pOwner->getReceiveBuffer())
        return false;
    const int iFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (iFd < 0)
        return false;
    SocketOptions::setNonBlocking(iFd, !m_pOwner->isBlocking());
    SocketOptions::setTimeout(iFd, SO_RCVTIMEO, RECEIVE_TIMEOUT_MS);
    SocketOptions::setTimeout(iFd, SO_SNDTIMEO, SEND_TIMEOUT_MS);
    SocketOptions::setNoDelay(iFd);
    return m_socket.adopt(iFd);
}

void CImpSocketClient::closeSocket()
{
    m_socket.close(SHUT_RDWR);
}

bool CImpSocketClient::connect(int& iError)
{
    CSocketDescriptor::CUse use(m_socket);
    const int iFd = use.socket();
    if (iFd < 0) {
        iError = -1;
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(m_pOwner->getPort()));
    address.sin_addr.s_addr = SocketOptions::toIPv4(m_pOwner->getAddress());
    if (::connect(iFd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        iError = 0;
        return true;
    }
    // Only a connect still under way is worth the wait; a refusal is final.
    if (errno != EINPROGRESS && errno != EINTR && errno != EALREADY) {
        iError = errno;
        return false;
    }
    pollfd wait{iFd, POLLIN | POLLOUT, 0};
    if (SocketOptions::pollRetrying(wait, static_cast<int>(CONNECT_TIMEOUT_MS)) <= 0) {
        iError = -1;
        return false;
    }
    int iSocketError = 0;
    socklen_t length = sizeof(iSocketError);
    if (::getsockopt(iFd, SOL_SOCKET, SO_ERROR, &iSocketError, &length) != 0)
        iSocketError = errno;
    iError = iSocketError;
    return iSocketError == 0;
}

bool CImpSocketClient::receive(int& iCount)
{
    iCount = -1;
    CSocketDescriptor::CUse use(m_socket);
    const int iFd = use.socket();
    if (iFd < 0)
        return false;
    pollfd wait{iFd, POLLIN, 0};
    if (SocketOptions::pollRetrying(wait, -1) <= 0)
        return false;
    iCount = SocketOptions::receive(iFd, m_pOwner->getReceiveBuffer(), m_pOwner->getReceiveBufferSize());
    return iCount > 0;
}

int CImpSocketClient::sendData(const unsigned char* pData, unsigned int uiLength)
{
    CSocketDescriptor::CUse use(m_socket);
    if (use.socket() < 0)
        return -1;
    return SocketOptions::send(use.socket(), pData, uiLength);
}

} // namespace Trell

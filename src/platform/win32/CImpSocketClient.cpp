#include <platform/win32/CImpSocketClient.h>

#include <foundation/EngineLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "platform/SocketOwner.h"

#include <winsock2.h>
#include <ws2tcpip.h>

namespace Trell {

CImpSocketClient::CImpSocketClient(ISocketClientOwner* pOwner) : m_pOwner(pOwner), m_bStarted(Winsock::start())
{
    if (!m_bStarted)
        EngineLog::error(u"Socket client WSAStartup error.");
}

CImpSocketClient::~CImpSocketClient()
{
    closeSocket();
    delete m_pOwner;
    if (m_bStarted)
        Winsock::stop();
}

bool CImpSocketClient::initSocket()
{
    if (!m_pOwner->getReceiveBuffer())
        return false;
    const SOCKET socket = ::WSASocketW(AF_INET, SOCK_STREAM, IPPROTO_TCP, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    if (socket == INVALID_SOCKET)
        return false;
    Winsock::setNonBlocking(socket, !m_pOwner->isBlocking());
    Winsock::setTimeout(socket, true, RECEIVE_TIMEOUT_MS);
    Winsock::setTimeout(socket, false, SEND_TIMEOUT_MS);
    Winsock::setNoDelay(socket);
    return m_socket.adopt(socket);
}

void CImpSocketClient::closeSocket()
{
    m_socket.close(SD_BOTH);
}

bool CImpSocketClient::connect(int& iError)
{
    CSocketHandle::CUse use(m_socket);
    const SOCKET socket = static_cast<SOCKET>(use.socket());
    if (use.socket() == CSocketHandle::NONE) {
        iError = -1;
        return false;
    }
    // The address was always converted as GBK text of at most 31 bytes.
    char szAddress[32];
    CStringConverter::convertToMBCS(m_pOwner->getAddress(), szAddress, sizeof(szAddress));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<unsigned short>(m_pOwner->getPort()));
    address.sin_addr.s_addr = ::inet_addr(szAddress);
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
        iError = 0;
        return true;
    }
    // Only a connect still under way is worth the wait; a refusal is final.
    const int iLast = Winsock::lastError();
    if (iLast != WSAEWOULDBLOCK && iLast != WSAEINPROGRESS && iLast != WSAEALREADY) {
        iError = iLast;
        return false;
    }
    if (Winsock::wait(use, true, static_cast<int>(CONNECT_TIMEOUT_MS)) <= 0) {
        // A refused non-blocking connect shows in the failure set: its
        // SO_ERROR is the answer, as for a wait that succeeded.
        int iSocketError = 0;
        int iLength = sizeof(iSocketError);
        if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&iSocketError), &iLength) == 0 &&
            iSocketError != 0) {
            iError = iSocketError;
            return false;
        }
        iError = -1;
        return false;
    }
    int iSocketError = 0;
    int iLength = sizeof(iSocketError);
    if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&iSocketError), &iLength) != 0)
        iSocketError = Winsock::lastError();
    iError = iSocketError;
    return iSocketError == 0;
}

bool CImpSocketClient::receive(int& iCount)
{
    iCount = -1;
    CSocketHandle::CUse use(m_socket);
    if (use.socket() == CSocketHandle::NONE)
        return false;
    if (Winsock::wait(use, false, -1) <= 0)
        return false;
    iCount = Winsock::receive(use.socket(), m_pOwner->getReceiveBuffer(), m_pOwner->getReceiveBufferSize());
    return iCount > 0;
}

int CImpSocketClient::sendData(const unsigned char* pData, unsigned int uiLength)
{
    CSocketHandle::CUse use(m_socket);
    if (use.socket() == CSocketHandle::NONE)
        return -1;
    return Winsock::send(use.socket(), pData, uiLength);
}

} // namespace Trell

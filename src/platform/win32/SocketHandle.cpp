#include <platform/win32/SocketHandle.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <climits>

namespace Trell {

CSocketHandle::CUse::CUse(CSocketHandle& handle) : m_owner(handle), m_pHandle(nullptr)
{
    std::lock_guard<std::mutex> guard(handle.m_mutex);
    m_pHandle = handle.m_pHandle;
    if (m_pHandle)
        ++m_pHandle->uiUsers;
}

CSocketHandle::CUse::~CUse()
{
    if (!m_pHandle)
        return;
    std::lock_guard<std::mutex> guard(m_owner.m_mutex);
    if (--m_pHandle->uiUsers == 0 && m_pHandle->bGivenUp) {
        ::closesocket(static_cast<SOCKET>(m_pHandle->socket));
        delete m_pHandle;
    }
}

bool CSocketHandle::CUse::isGivenUp() const
{
    std::lock_guard<std::mutex> guard(m_owner.m_mutex);
    return m_pHandle->bGivenUp;
}

int CSocketHandle::CUse::wait(bool bWrite, int iLimitMs) const
{
    if (!m_pHandle)
        return -1;
    const SOCKET socket = static_cast<SOCKET>(m_pHandle->socket);
    const auto start = std::chrono::steady_clock::now();
    for (;;) {
        if (isGivenUp())
            return -1;
        long lSliceMs = WAIT_SLICE_MS;
        if (iLimitMs >= 0) {
            const auto spent =
                std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
            if (spent >= iLimitMs)
                return 0;
            if (iLimitMs - spent < lSliceMs)
                lSliceMs = static_cast<long>(iLimitMs - spent);
        }
        fd_set readable;
        fd_set writable;
        fd_set failed;
        FD_ZERO(&readable);
        FD_ZERO(&writable);
        FD_ZERO(&failed);
        FD_SET(socket, &readable);
        FD_SET(socket, &failed);
        if (bWrite)
            FD_SET(socket, &writable);
        timeval slice{0, lSliceMs * 1000};
        const int iReady = ::select(0, &readable, bWrite ? &writable : nullptr, &failed, &slice);
        if (iReady != 0)
            return iReady > 0 ? 1 : -1;
    }
}

void CSocketHandle::giveUp(tagHandle* pHandle)
{
    pHandle->bGivenUp = true;
    if (pHandle->uiUsers == 0) {
        ::closesocket(static_cast<SOCKET>(pHandle->socket));
        delete pHandle;
    }
}

bool CSocketHandle::adopt(Socket socket)
{
    tagHandle* pHandle = new tagHandle{socket, 0, false};
    if (!pHandle) {
        ::closesocket(static_cast<SOCKET>(socket));
        return false;
    }
    std::lock_guard<std::mutex> guard(m_mutex);
    if (m_pHandle)
        giveUp(m_pHandle);
    m_pHandle = pHandle;
    return true;
}

CSocketHandle::Socket CSocketHandle::peek() const
{
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_pHandle ? m_pHandle->socket : NONE;
}

bool CSocketHandle::shutdown(int iHow)
{
    std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_pHandle)
        return false;
    ::shutdown(static_cast<SOCKET>(m_pHandle->socket), iHow);
    return true;
}

bool CSocketHandle::close(int iHow)
{
    std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_pHandle)
        return false;
    if (iHow != -1)
        ::shutdown(static_cast<SOCKET>(m_pHandle->socket), iHow);
    giveUp(m_pHandle);
    m_pHandle = nullptr;
    return true;
}

namespace Winsock {

bool start()
{
    WSADATA data;
    return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

void stop()
{
    ::WSACleanup();
}

int lastError()
{
    return ::WSAGetLastError();
}

void setNonBlocking(CSocketHandle::Socket socket, bool bNonBlocking)
{
    u_long ulMode = bNonBlocking ? 1 : 0;
    ::ioctlsocket(static_cast<SOCKET>(socket), FIONBIO, &ulMode);
}

void setNoDelay(CSocketHandle::Socket socket)
{
    const BOOL bOn = TRUE;
    ::setsockopt(static_cast<SOCKET>(socket), IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<const char*>(&bOn),
                 sizeof(bOn));
}

void setTimeout(CSocketHandle::Socket socket, bool bReceive, unsigned int uiMilliseconds)
{
    const DWORD dwTimeout = uiMilliseconds;
    ::setsockopt(static_cast<SOCKET>(socket), SOL_SOCKET, bReceive ? SO_RCVTIMEO : SO_SNDTIMEO,
                 reinterpret_cast<const char*>(&dwTimeout), sizeof(dwTimeout));
}

int receive(CSocketHandle::Socket socket, unsigned char* pBuffer, unsigned int uiSize)
{
    if (uiSize > INT_MAX)
        uiSize = INT_MAX;
    return ::recv(static_cast<SOCKET>(socket), reinterpret_cast<char*>(pBuffer), static_cast<int>(uiSize), 0);
}

int send(CSocketHandle::Socket socket, const unsigned char* pData, unsigned int uiLength)
{
    if (uiLength > INT_MAX)
        uiLength = INT_MAX;
    return ::send(static_cast<SOCKET>(socket), reinterpret_cast<const char*>(pData), static_cast<int>(uiLength), 0);
}

} // namespace Winsock
} // namespace Trell

#include <platform/win32/SocketHandle.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <chrono>
#include <climits>

namespace Trell {

void tagWinsockCalls::close(std::uintptr_t socket)
{
    ::closesocket(static_cast<SOCKET>(socket));
}

void tagWinsockCalls::shutdown(std::uintptr_t socket, int iHow)
{
    ::shutdown(static_cast<SOCKET>(socket), iHow);
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

int wait(const CSocketHandle::CUse& use, bool bWrite, int iLimitMs)
{
    if (use.socket() == CSocketHandle::NONE)
        return -1;
    const SOCKET socket = static_cast<SOCKET>(use.socket());
    const auto began = std::chrono::steady_clock::now();
    for (;;) {
        if (use.isGivenUp())
            return -1;
        long lSliceMs = WAIT_SLICE_MS;
        if (iLimitMs >= 0) {
            const auto spent =
                std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began).count();
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

#include <platform/posix/SocketOptions.h>

#include <text/CString.h>
#include <text/CStringConverter.h>

#include <cerrno>
#include <chrono>
#include <climits>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace Trell {
namespace SocketOptions {

void setNonBlocking(int iFd, bool bNonBlocking)
{
    const int iFlags = ::fcntl(iFd, F_GETFL, 0);
    if (iFlags < 0)
        return;
    ::fcntl(iFd, F_SETFL, bNonBlocking ? (iFlags | O_NONBLOCK) : (iFlags & ~O_NONBLOCK));
}

void setNoDelay(int iFd)
{
    const int iOn = 1;
    ::setsockopt(iFd, IPPROTO_TCP, TCP_NODELAY, &iOn, sizeof(iOn));
}

void setTimeout(int iFd, int iOption, unsigned int uiMilliseconds)
{
    timeval timeout{};
    timeout.tv_sec = static_cast<time_t>(uiMilliseconds / 1000);
    timeout.tv_usec = static_cast<suseconds_t>((uiMilliseconds % 1000) * 1000);
    ::setsockopt(iFd, SOL_SOCKET, iOption, &timeout, sizeof(timeout));
}

unsigned int toIPv4(const CString& strAddress)
{
    char szAddress[32];
    CStringConverter::convertToMBCS(strAddress, szAddress, sizeof(szAddress));
    return ::inet_addr(szAddress);
}

int pollRetrying(pollfd& wait, int iMilliseconds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(iMilliseconds);
    for (;;) {
        const int iResult = ::poll(&wait, 1, iMilliseconds);
        if (iResult >= 0 || errno != EINTR)
            return iResult;
        if (iMilliseconds > 0) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            iMilliseconds = left.count() > 0 ? static_cast<int>(left.count()) : 0;
        }
    }
}

int receive(int iFd, unsigned char* pBuffer, unsigned int uiSize)
{
    if (uiSize > INT_MAX)
        uiSize = INT_MAX;
    for (;;) {
        const ssize_t result = ::recv(iFd, pBuffer, uiSize, 0);
        if (result >= 0 || errno != EINTR)
            return static_cast<int>(result);
    }
}

int send(int iFd, const unsigned char* pData, unsigned int uiLength)
{
    if (uiLength > INT_MAX)
        uiLength = INT_MAX;
    for (;;) {
        const ssize_t result = ::send(iFd, pData, uiLength, MSG_NOSIGNAL);
        if (result >= 0 || errno != EINTR)
            return static_cast<int>(result);
    }
}

} // namespace SocketOptions
} // namespace Trell

#pragma once

// Small wrappers around the socket calls that both endpoints make.

#include <poll.h>

namespace Trell {

class CString;

namespace SocketOptions {

void setNonBlocking(int iFd, bool bNonBlocking);
// Small writes leave at once instead of waiting for the peer's
// acknowledgement: the protocols on these sockets are interactive.
void setNoDelay(int iFd);
// SO_RCVTIMEO or SO_SNDTIMEO in milliseconds.
void setTimeout(int iFd, int iOption, unsigned int uiMilliseconds);
// The dotted IPv4 address in network order, converted as the address was
// always converted (GBK, at most 31 bytes, inet_addr rules).
unsigned int toIPv4(const CString& strAddress);
// poll on one descriptor, resumed after a signal with the time that is left;
// the result of poll.
int pollRetrying(pollfd& wait, int iMilliseconds);
// One recv (resumed after a signal); its result.
int receive(int iFd, unsigned char* pBuffer, unsigned int uiSize);
// One send that never raises SIGPIPE (resumed after a signal); its result.
int send(int iFd, const unsigned char* pData, unsigned int uiLength);

} // namespace SocketOptions
} // namespace Trell

#pragma once

// A Winsock socket shared by an endpoint's own thread (connect, accept,
// receive), the threads that send on it and the thread that stops it (see
// SocketKeeper.h). Since a close cannot wake a waiter, every wait here
// (Winsock::wait) is cut into slices of WAIT_SLICE_MS that look whether the
// handle was given up.
//
// Threading: every member may be called from any thread.

#include <platform/SocketKeeper.h>

#include <cstdint>

namespace Trell {

struct tagWinsockCalls
{
    static constexpr const char16_t* NAME = u"CSocketHandle";
    static constexpr const char16_t* HANDLE_NAME = u"CSocketHandle::tagHandle";

    // The system's SOCKET, kept as a plain integer so that no Winsock header
    // is needed here.
    static void close(std::uintptr_t socket);
    // iHow: SD_RECEIVE, SD_SEND or SD_BOTH.
    static void shutdown(std::uintptr_t socket, int iHow);
};

typedef CSocketKeeper<std::uintptr_t, ~static_cast<std::uintptr_t>(0), tagWinsockCalls> CSocketHandle;

namespace Winsock {

// WSAStartup for version 2.2; true on success. Each successful start is
// paired with one stop.
bool start();
void stop();
// The last Winsock error of the calling thread.
int lastError();
const unsigned int WAIT_SLICE_MS = 50;
// Waits until the used socket is readable (bWrite: writable too, as a
// connect in progress needs), it was given up, or iLimitMs passed (-1: no
// limit). 1 ready, 0 timed out, -1 failed or given up.
int wait(const CSocketHandle::CUse& use, bool bWrite, int iLimitMs);
void setNonBlocking(CSocketHandle::Socket socket, bool bNonBlocking);
// Small writes leave at once: the protocols on these sockets are interactive.
void setNoDelay(CSocketHandle::Socket socket);
// SO_RCVTIMEO (bReceive) or SO_SNDTIMEO, in milliseconds.
void setTimeout(CSocketHandle::Socket socket, bool bReceive, unsigned int uiMilliseconds);
// One recv or send; its result.
int receive(CSocketHandle::Socket socket, unsigned char* pBuffer, unsigned int uiSize);
int send(CSocketHandle::Socket socket, const unsigned char* pData, unsigned int uiLength);

} // namespace Winsock
} // namespace Trell

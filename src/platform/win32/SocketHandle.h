#pragma once

// A Winsock socket shared by an endpoint's own thread (connect, accept,
// receive), the threads that send on it and the thread that stops it.
//
// Socket handles are reused by the system once closed, so a thread still
// inside select, recv or send on one could end up on somebody else's socket.
// Closing therefore only takes the handle away from new users; closesocket
// happens when the last user is done. Since a close cannot then wake a
// waiter, every wait here is cut into slices of WAIT_SLICE_MS that look
// whether the handle was given up.
//
// Threading: every member may be called from any thread.

#include <foundation/CMemory.h>

#include <cstdint>
#include <mutex>

namespace Trell {

class CSocketHandle
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketHandle")

public:
    // The system's SOCKET, kept as a plain integer so that no Winsock header
    // is needed here.
    typedef std::uintptr_t Socket;
    static const Socket NONE = ~static_cast<Socket>(0);
    static const unsigned int WAIT_SLICE_MS = 50;

private:
    struct tagHandle
    {
        TRELL_DECLARE_ALLOCATOR(u"CSocketHandle::tagHandle")

        Socket socket;
        unsigned int uiUsers;
        bool bGivenUp;
    };

public:
    // One use of the socket: it stays open at least as long as this.
    class CUse
    {
    public:
        explicit CUse(CSocketHandle& handle);
        ~CUse();
        CUse(const CUse&) = delete;
        CUse& operator=(const CUse&) = delete;
        // NONE when no socket was held.
        Socket socket() const { return m_pHandle ? m_pHandle->socket : NONE; }
        // Waits until the socket is readable (bWrite: writable too, as a
        // connect in progress needs), it was given up, or iLimitMs passed
        // (-1: no limit). 1 ready, 0 timed out, -1 failed or given up.
        int wait(bool bWrite, int iLimitMs) const;

    private:
        bool isGivenUp() const;

        CSocketHandle& m_owner;
        tagHandle* m_pHandle;
    };

    CSocketHandle() = default;
    ~CSocketHandle() { close(-1); }
    CSocketHandle(const CSocketHandle&) = delete;
    CSocketHandle& operator=(const CSocketHandle&) = delete;

    // Holds socket from now on (one held before is given up). False, with
    // the socket closed, when the bookkeeping cannot be allocated.
    bool adopt(Socket socket);
    // The socket held, or NONE; for comparisons only.
    Socket peek() const;
    // shutdown(iHow) on the held socket without giving it up; false when
    // none is held.
    bool shutdown(int iHow);
    // Gives the socket up: shut down with iHow first unless iHow is -1,
    // closed once no use remains. False when none was held.
    bool close(int iHow);

private:
    static void giveUp(tagHandle* pHandle);

    mutable std::mutex m_mutex;
    tagHandle* m_pHandle = nullptr;
};

namespace Winsock {

// WSAStartup for version 2.2; true on success. Each successful start is
// paired with one stop.
bool start();
void stop();
// The last Winsock error of the calling thread.
int lastError();
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

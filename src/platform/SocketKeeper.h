#pragma once

// A socket shared by an endpoint's own thread (connect, accept, receive), the
// threads that send on it and the thread that stops it; each layer names it
// for its own socket type (SocketDescriptor.h, SocketHandle.h).
//
// The system reuses a socket's number as soon as it is closed, so a thread
// still inside a wait, recv or send on it could end up on somebody else's
// socket. Closing therefore only takes the socket away from new users; the
// system close happens when the last user is done.
//
// TCalls supplies the system calls and names: static void close(TSocket),
// static void shutdown(TSocket, int iHow), and the allocator names NAME and
// HANDLE_NAME.
//
// Threading: every member may be called from any thread.

#include <foundation/CMemory.h>

#include <mutex>

namespace Trell {

template <class TSocket, TSocket NONE_SOCKET, class TCalls>
class CSocketKeeper
{
    TRELL_DECLARE_ALLOCATOR(TCalls::NAME)

private:
    // One socket while it is open. Users and the given-up flag are guarded
    // by the owning object's mutex.
    struct tagHandle
    {
        TRELL_DECLARE_ALLOCATOR(TCalls::HANDLE_NAME)

        TSocket socket;
        unsigned int uiUsers;
        bool bGivenUp;
    };

public:
    typedef TSocket Socket;
    static constexpr TSocket NONE = NONE_SOCKET;

    // One use of the socket: it stays open at least as long as this.
    class CUse
    {
    public:
        explicit CUse(CSocketKeeper& keeper) : m_keeper(keeper), m_pHandle(nullptr)
        {
            std::lock_guard<std::mutex> guard(keeper.m_mutex);
            m_pHandle = keeper.m_pHandle;
            if (m_pHandle)
                ++m_pHandle->uiUsers;
        }
        ~CUse()
        {
            if (!m_pHandle)
                return;
            std::lock_guard<std::mutex> guard(m_keeper.m_mutex);
            if (--m_pHandle->uiUsers == 0 && m_pHandle->bGivenUp) {
                TCalls::close(m_pHandle->socket);
                delete m_pHandle;
            }
        }
        CUse(const CUse&) = delete;
        CUse& operator=(const CUse&) = delete;

        // NONE when no socket was held.
        TSocket socket() const { return m_pHandle ? m_pHandle->socket : NONE; }
        // Whether the socket was given up since this use began (false without one).
        bool isGivenUp() const
        {
            std::lock_guard<std::mutex> guard(m_keeper.m_mutex);
            return m_pHandle && m_pHandle->bGivenUp;
        }

    private:
        CSocketKeeper& m_keeper;
        tagHandle* m_pHandle;
    };

    CSocketKeeper() = default;
    ~CSocketKeeper() { close(-1); }
    CSocketKeeper(const CSocketKeeper&) = delete;
    CSocketKeeper& operator=(const CSocketKeeper&) = delete;

    // Holds socket from now on (one held before is given up). False, with
    // the socket closed, when the bookkeeping cannot be allocated.
    bool adopt(TSocket socket)
    {
        tagHandle* pHandle = new tagHandle{socket, 0, false};
        if (!pHandle) {
            TCalls::close(socket);
            return false;
        }
        std::lock_guard<std::mutex> guard(m_mutex);
        if (m_pHandle)
            giveUp(m_pHandle);
        m_pHandle = pHandle;
        return true;
    }
    // The socket held, or NONE; for comparisons only (use CUse to work on it).
    TSocket peek() const
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_pHandle ? m_pHandle->socket : NONE;
    }
    // Shuts the held socket down (iHow as the system's shutdown takes it)
    // without giving it up. False when none is held.
    bool shutdown(int iHow)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        if (!m_pHandle)
            return false;
        TCalls::shutdown(m_pHandle->socket, iHow);
        return true;
    }
    // Gives the socket up: shut down with iHow first unless iHow is -1,
    // closed once no use remains. False when none was held.
    bool close(int iHow)
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        if (!m_pHandle)
            return false;
        if (iHow != -1)
            TCalls::shutdown(m_pHandle->socket, iHow);
        giveUp(m_pHandle);
        m_pHandle = nullptr;
        return true;
    }

private:
    // Marks pHandle given up and closes it unless in use; m_mutex held.
    static void giveUp(tagHandle* pHandle)
    {
        pHandle->bGivenUp = true;
        if (pHandle->uiUsers == 0) {
            TCalls::close(pHandle->socket);
            delete pHandle;
        }
    }

    mutable std::mutex m_mutex;
    tagHandle* m_pHandle = nullptr;
};

} // namespace Trell

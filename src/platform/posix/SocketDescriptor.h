#pragma once

// A socket descriptor shared by an endpoint's own thread (connect, accept,
// receive), the threads that send on it and the thread that stops it.
//
// A descriptor number is reused by the system as soon as it is closed, so a
// thread still inside poll, recv or send on it could end up on somebody
// else's file. Closing therefore only takes the descriptor away from new
// users; the system close happens when the last user is done. A shutdown
// before the close is what wakes a user blocked in the kernel (closing alone
// does not on Linux).
//
// Threading: every member may be called from any thread.

#include <foundation/CMemory.h>

#include <mutex>

namespace Trell {

class CSocketDescriptor
{
    TRELL_DECLARE_ALLOCATOR(u"CSocketDescriptor")

private:
    // One descriptor number while it is open. Users and the given-up flag
    // are guarded by the owning object's mutex.
    struct tagHandle
    {
        TRELL_DECLARE_ALLOCATOR(u"CSocketDescriptor::tagHandle")

        int iFd;
        unsigned int uiUsers;
        bool bGivenUp;
    };

public:
    // One use of the descriptor: it stays open at least as long as this.
    class CUse
    {
    public:
        explicit CUse(CSocketDescriptor& descriptor);
        ~CUse();
        CUse(const CUse&) = delete;
        CUse& operator=(const CUse&) = delete;
        // -1 when no descriptor was held.
        int fd() const { return m_pHandle ? m_pHandle->iFd : -1; }

    private:
        CSocketDescriptor& m_descriptor;
        tagHandle* m_pHandle;
    };

    CSocketDescriptor() = default;
    ~CSocketDescriptor() { close(-1); }
    CSocketDescriptor(const CSocketDescriptor&) = delete;
    CSocketDescriptor& operator=(const CSocketDescriptor&) = delete;

    // Holds iFd from now on (a descriptor held before is given up). False,
    // with iFd closed, when the bookkeeping cannot be allocated.
    bool adopt(int iFd);
    // The number held, or -1; for comparisons only (use CUse to work on it).
    int peek() const;
    // Shuts the held descriptor down (SHUT_RD, SHUT_WR or SHUT_RDWR) without
    // giving it up. False when none is held.
    bool shutdown(int iHow);
    // Gives the descriptor up: shut down with iHow first unless iHow is -1,
    // closed once no use remains. False when none was held.
    bool close(int iHow);

private:
    // Marks pHandle given up and closes it unless in use; m_mutex held.
    static void giveUp(tagHandle* pHandle);

    mutable std::mutex m_mutex;
    tagHandle* m_pHandle = nullptr;
};

} // namespace Trell

#pragma once

// A named Win32 mutex (CreateMutexW) with the lock results the channel needs:
// a holder that died or closed its handle leaves the mutex abandoned, and
// the next locker is told so (and it is logged). Owned by one thread, which
// may lock it again (each lock needs its unlock).
//
// Threading: lock and unlock from any thread; open and close by the owner
// of the object while no other thread uses it.

#include <foundation/CMemory.h>

#include <string>

namespace Trell {

class CString;

class CNamedMutex
{
    TRELL_DECLARE_ALLOCATOR(u"CNamedMutex")

public:
    enum ELock
    {
        LOCK_TAKEN,
        LOCK_ABANDONED, // taken, but the previous owner died holding it (logged)
        LOCK_TIMEOUT,
        LOCK_FAILED // the mutex is not open
    };

    CNamedMutex() = default;
    ~CNamedMutex() { close(); }

    // Creates or opens the mutex, not owned; false on failure.
    bool open(const CString& strName);
    void close();
    // Waits up to uiMilliseconds for the mutex.
    ELock lock(unsigned int uiMilliseconds);
    // False when the calling thread does not own it.
    bool unlock();

private:
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;

    void* m_hMutex = nullptr; // HANDLE
    std::u16string m_strName; // for the log
};

} // namespace Trell

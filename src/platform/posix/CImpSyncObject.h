#pragma once

#include <platform/ISyncObject.h>

#include <atomic>

#include <pthread.h>

namespace Trell {

// A re-entrant lock: the owning thread may lock again, each lock needing its
// unlock. Built from a plain (non-recursive) pthread mutex, the owner's
// thread id and a depth; a contended lock first spins briefly, because the
// library's critical sections are far shorter than a sleep and wake-up.
class CImpSyncObject : public ISyncObject
{
    TRELL_DECLARE_ALLOCATOR(u"CImpSyncObject")

public:
    CImpSyncObject();
    ~CImpSyncObject() override;

    void lock() override;
    void unlock() override;

private:
    CImpSyncObject(const CImpSyncObject&) = delete;
    CImpSyncObject& operator=(const CImpSyncObject&) = delete;

    pthread_mutex_t m_mutex;
    // The holder's thread id, 0 while free. Only the holder stores it; other
    // threads read it to see whether the lock is theirs and, while spinning,
    // whether it is worth trying again.
    std::atomic<unsigned long> m_ulOwner;
    // Touched by the holder only.
    unsigned int m_uiDepth;
};

} // namespace Trell

#pragma once

#include <platform/ISyncObject.h>

#include <pthread.h>

namespace Trell {

// A recursive pthread mutex, sleeping when taken by another thread: the owning
// thread may lock again, as the library's lock contract requires.
class CImpSyncObject final : public ISyncObject
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
};

} // namespace Trell

#pragma once

#include <platform/ISyncObject.h>

#include <windows.h>

namespace Trell {

// A critical section: the owning thread may enter it again.
// Threading: any thread may lock and unlock; construction and destruction
// are the owner's.
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

    CRITICAL_SECTION m_section;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <platform/CSyncObject.h>

namespace Trell {

// Holds a CSyncObject locked for the lifetime of the scope.
class ECS_API CAutoSync : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CAutoSync")

public:
    // Inline, so that a scoped lock costs the lock and nothing around it.
    explicit CAutoSync(CSyncObject& syncObject) : m_pSyncObject(&syncObject) { m_pSyncObject->lock(); }
    ~CAutoSync() override { m_pSyncObject->unlock(); }

protected:
    CAutoSync(const CAutoSync& other);
    CAutoSync& operator=(const CAutoSync& other);

private:
    CSyncObject* m_pSyncObject;
};

} // namespace Trell

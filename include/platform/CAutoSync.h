#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

class CSyncObject;

// Holds a CSyncObject locked for the lifetime of the scope.
class ECS_API CAutoSync : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CAutoSync")

public:
    explicit CAutoSync(CSyncObject& syncObject);
    ~CAutoSync() override;

protected:
    CAutoSync(const CAutoSync& other);
    CAutoSync& operator=(const CAutoSync& other);

private:
    CSyncObject* m_pSyncObject;
};

} // namespace Trell

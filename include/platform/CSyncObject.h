#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <platform/ISyncObject.h>

namespace Trell {

// A lock that the thread holding it may take again (each lock needs its
// unlock). Usually taken through a CAutoSync on the stack.
class ECS_API CSyncObject : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CSyncObject")

public:
    CSyncObject();
    ~CSyncObject() override;

    // Inline: every guarded operation of the library pays for this call.
    void lock() { m_pSyncObject->lock(); }
    void unlock() { m_pSyncObject->unlock(); }

protected:
    CSyncObject(const CSyncObject& other);
    CSyncObject& operator=(const CSyncObject& other);

private:
    ISyncObject* m_pSyncObject;
};

} // namespace Trell

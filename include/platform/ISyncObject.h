#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Platform lock behind CSyncObject: a lock that the owning thread may take
// again; every lock needs its unlock.
class ECS_API ISyncObject
{
    TRELL_DECLARE_ALLOCATOR(u"ISyncObject")

public:
    virtual ~ISyncObject() {}

    virtual void lock() = 0;
    virtual void unlock() = 0;
};

} // namespace Trell

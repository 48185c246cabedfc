#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Told by CMemManager when an allocation could not be served, so that the
// host can release caches; the manager then retries the allocation once.
// Runs on the allocating thread under the manager's listener lock; an
// allocation that fails inside the callback does not call it again.
class ECS_API IMemManagerListener
{
    TRELL_DECLARE_ALLOCATOR(u"IMemManagerListener")

public:
    virtual ~IMemManagerListener();

    virtual void onAllocateFailed() = 0;
};

} // namespace Trell

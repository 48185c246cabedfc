#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Platform thread behind CThread. start creates a thread that calls, on its
// owner, notifyThreadStarted, run and notifyThreadStopped in that order.
class ECS_API IThread
{
    TRELL_DECLARE_ALLOCATOR(u"IThread")

public:
    virtual ~IThread() {}

    virtual void start() = 0;
};

} // namespace Trell

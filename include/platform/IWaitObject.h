#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Platform event behind CWaitObject: manual reset, and every wait resets it,
// whether it ended by a signal or by its timeout.
class ECS_API IWaitObject
{
    TRELL_DECLARE_ALLOCATOR(u"IWaitObject")

public:
    virtual ~IWaitObject() {}

    virtual void reset() = 0;
    // Blocks until signalled or uiMilliseconds pass; 0 waits without limit.
    virtual void wait(unsigned int uiMilliseconds) = 0;
    // As wait, but 0 only polls.
    virtual void forceWait(unsigned int uiMilliseconds) = 0;
    virtual void notify() = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Through this a host's boot animation reports back to whoever set it up
// (IBootAnimationProvider::setNotifier). The library declares it for the
// host and never calls it.
class ECS_API IBootAnimationNotifier
{
    TRELL_DECLARE_ALLOCATOR(u"IBootAnimationNotifier")

public:
    virtual ~IBootAnimationNotifier();
    virtual void notifyAnimationReady() = 0;
    virtual void notifyAnimationStarted() = 0;
    virtual void notifyAnimationPaused() = 0;
    virtual void notifyAnimationResumed() = 0;
    virtual void notifyAnimationFinished() = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class IBootAnimationNotifier;

// A host's boot animation. Every operation does nothing by default; the
// library declares the interface for the host and never calls it. The slot
// order is part of the interface: setNotifier first, the six operations
// without arguments, onAnimationUpdate last.
class ECS_API IBootAnimationProvider
{
    TRELL_DECLARE_ALLOCATOR(u"IBootAnimationProvider")

public:
    virtual ~IBootAnimationProvider();
    // Not owned.
    virtual void setNotifier(IBootAnimationNotifier* pNotifier);
    virtual void initialize();
    virtual void onAnimationStart();
    virtual void onAnimationPause();
    virtual void onAnimationResume();
    virtual void onAnimationStop();
    virtual void unInitialize();
    virtual void onAnimationUpdate(unsigned int uiValue);
};

} // namespace Trell

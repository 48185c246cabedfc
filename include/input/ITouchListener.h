#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CCursor;

// Receives a surface's touch events on the thread that drains the message
// center. Not owned by the surface or its cursor manager.
//
// Destroying a listener takes the touch messages still queued for it off
// the message center, so none of them reaches it afterwards; a message
// already popped and not yet handled is the host's to drop.
class ECS_API ITouchListener
{
    TRELL_DECLARE_ALLOCATOR(u"ITouchListener")

public:
    virtual ~ITouchListener();

    virtual void onTouchPress(const CCursor& cursor) = 0;
    // Also the repeated signal of a finger resting in place.
    virtual void onTouchMove(const CCursor& cursor) = 0;
    virtual void onTouchRelease(const CCursor& cursor) = 0;
    virtual void onTouchWheel(const CCursor& cursor) = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Platform drawing surface, supplied by the host through
// IPlatformFactory::createSurface and owned by its CSurface.
class ECS_API ISurface
{
    TRELL_DECLARE_ALLOCATOR(u"ISurface")

public:
    // Which touches a transparent surface still receives.
    enum EReceiveTouch
    {
        RECEIVE_TOUCH_ALL = 0,    // every touch on the surface's area
        RECEIVE_TOUCH_OPAQUE = 1, // only touches on non-transparent pixels
        RECEIVE_TOUCH_NONE = 2,   // none: touches pass through to what lies below
    };

    virtual ~ISurface() {}

    virtual bool initialize() = 0;
    virtual void unInitialize() = 0;
    // Re-reads the platform window's position and reports it back through
    // the owning CSurface; called before the surface's position is returned.
    virtual void updateSurfacePos() = 0;
    virtual void setTransparency(bool bTransparent, EReceiveTouch eReceiveTouch) = 0;
    virtual void setSurfaceName(const CString& strName) = 0;
};

} // namespace Trell

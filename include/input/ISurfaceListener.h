#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// The host's receiver of a surface's application and render state changes.
// Called on the thread on which the platform surface reports them. Not
// owned by the surface.
class ECS_API ISurfaceListener
{
    TRELL_DECLARE_ALLOCATOR(u"ISurfaceListener")

public:
    enum EAppState : unsigned int
    {
        APP_STATE_FOREGROUND = 0, // the application is in front and running
        APP_STATE_BACKGROUND = 1, // the application went behind others
        APP_STATE_SUSPEND = 2,    // the platform suspends the application
        APP_STATE_RESUME = 3      // the platform resumes it
    };

    enum ERenderState : unsigned int
    {
        RENDER_STATE_READY = 0,  // the surface can be drawn on
        RENDER_STATE_PAUSE = 1,  // drawing should stop (hidden, minimised)
        RENDER_STATE_RESUME = 2, // drawing may go on
        RENDER_STATE_DESTROY = 3 // the drawing area is going away
    };

    virtual ~ISurfaceListener();

    virtual void onAppStateChange(EAppState eState) = 0;
    virtual void onRenderStateChange(unsigned int uiSurfaceIndex, ERenderState eState) = 0;
    // For the host's own surface events; the library never calls it.
    virtual void onSurfaceEvent(unsigned int uiSurfaceIndex, unsigned int uiEvent, void* pParam);
};

} // namespace Trell

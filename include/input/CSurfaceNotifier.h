#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <input/ISurfaceListener.h>

namespace Trell {

class CSurface;

// The way back from a platform surface (the host's ISurface) to its
// CSurface: the surface's notifications are not part of its public face,
// so a platform surface reports through these. A null surface is ignored.
class ECS_API CSurfaceNotifier
{
    TRELL_DECLARE_ALLOCATOR(u"CSurfaceNotifier")

public:
    // The surface needs drawing: a render message for its index.
    static void notifyPaintSurface(CSurface* pSurface);
    // The surface was closed: a quit message.
    static void notifyQuitSurface(CSurface* pSurface);
    static void notifySurfacePosChange(CSurface* pSurface, int iX, int iY);
    static void notifySurfaceSizeChange(CSurface* pSurface, unsigned int uiWidth, unsigned int uiHeight);
    static void notifyAppStateChange(CSurface* pSurface, ISurfaceListener::EAppState eState);
    static void notifyRenderStateChange(CSurface* pSurface, ISurfaceListener::ERenderState eState);

    CSurfaceNotifier() = delete;
};

} // namespace Trell

#pragma once

// Threading contract
// - The instance array (getInstance, deleteInstance) and the host-facing
//   operations (initialize, unInitialize, setters) belong to the host's main
//   thread; getInstance is also reached from CMessageCenter::pushTouchMessage
//   on the pushing thread, which is safe once the surface exists (the host
//   creates its surfaces at start-up, before input flows).
// - Touch input goes to the cursor manager, which has its own lock.
// - The notifications are called by the platform surface on its own thread
//   (CSurfaceNotifier); position, size and the listener are atomics, so the
//   host may read them on another thread.

#include <foundation/CMemory.h>
#include <foundation/CObjectArray.h>
#include <foundation/Export.h>
#include <input/CCursorManager.h>
#include <input/ISurfaceListener.h>
#include <platform/ISurface.h>

#include <atomic>

namespace Trell {

class CString;
class ITouchListener;

// The library's descriptor of one drawing area of the host, identified by
// its index among the configuration's surface records. It owns the
// surface's touch tracking and the platform surface object that the host's
// IPlatformFactory creates for it, and turns the platform's paint and quit
// notifications into render and quit messages.
class ECS_API CSurface
{
    TRELL_DECLARE_ALLOCATOR(u"CSurface")

public:
    // The surface at that index; when there is none, a new one (asking the
    // platform factory for its platform surface when bCreatePlatform). The
    // array grows with empty entries up to the index. Null only when memory
    // runs out.
    static CSurface* getInstance(unsigned int uiIndex, bool bCreatePlatform);
    // Deletes every surface and empties the array.
    static void deleteInstance();
    // The existing surface whose configuration record is the first one named
    // strName (case-sensitive); null when no record has that name or no
    // surface was made at its index. Creates nothing.
    static CSurface* getSurfaceByByName(const CString& strName);

    // Deletes the platform surface, then the cursor manager goes.
    virtual ~CSurface();

    // Position and size from the configuration's record at this index, then
    // the platform surface's own initialisation. False without a platform
    // surface or without a record.
    bool initialize();
    // The platform surface's clean-up, then the cursor manager's.
    void unInitialize();

    void setTransparency(bool bTransparent, ISurface::EReceiveTouch eReceiveTouch);
    void setSurfaceName(const CString& strName);
    // Touch input on this surface on or off.
    void setEnable(bool bEnable);
    void setTouchListener(ITouchListener* pListener);
    void setSurfaceListener(ISurfaceListener* pListener);

    CCursorManager& getCursorManager() { return m_cursorManager; }
    unsigned int getSurfaceIndex() const { return m_uiIndex; }
    // The position, refreshed by the platform surface first.
    int getSurfaceX();
    int getSurfaceY();
    unsigned int getSurfaceWidth() const { return m_uiWidth; }
    unsigned int getSurfaceHeight() const { return m_uiHeight; }
    ISurface* getSurfaceParam() const { return m_pSurface; }

    // Indexed by surface index; entries may be null. Owns the surfaces.
    static CObjectArray<CSurface> s_aryInstance;

protected:
    friend class CSurfaceNotifier;

    CSurface(unsigned int uiIndex, bool bCreatePlatform);
    CSurface(const CSurface& other);
    CSurface& operator=(const CSurface& other);

    // A render request for this surface's index.
    void notifyPaintSurface();
    void notifyQuitSurface();
    void notifySurfacePosChange(int iX, int iY);
    void notifySurfaceSizeChange(unsigned int uiWidth, unsigned int uiHeight);
    // Passed on to the surface listener, if one is set.
    void notifyAppStateChange(ISurfaceListener::EAppState eState);
    void notifyRenderStateChange(ISurfaceListener::ERenderState eState);

private:
    std::atomic<ISurfaceListener*> m_pListener;
    CCursorManager m_cursorManager;
    unsigned int m_uiIndex;
    std::atomic<int> m_iX;
    std::atomic<int> m_iY;
    std::atomic<unsigned int> m_uiWidth;
    std::atomic<unsigned int> m_uiHeight;
    ISurface* m_pSurface;
};

} // namespace Trell

#pragma once

// A platform surface without a window, as a host supplies one through its
// IPlatformFactory. The tests and the reference host program use it to play
// the platform's part: it records what the library asks of it and turns the
// platform's events (paint, close, move, resize, state changes, touches)
// into the calls a real window system would make.

#include <input/CSurface.h>
#include <input/ISurfaceListener.h>
#include <platform/IPlatformFactory.h>
#include <platform/ISurface.h>
#include <text/CString.h>

#include <atomic>
#include <mutex>
#include <vector>

namespace Headless {

class CHeadlessPlatformFactory;

class CHeadlessSurface : public Trell::ISurface
{
    TRELL_DECLARE_ALLOCATOR(u"CHeadlessSurface")

public:
    CHeadlessSurface(CHeadlessPlatformFactory* pFactory, Trell::CSurface* pOwner);
    ~CHeadlessSurface() override;

    // --- What the library calls ---
    // Succeeds unless the factory was told to let initialisation fail.
    bool initialize() override;
    void unInitialize() override;
    // Reports the window's current position back to the owning surface.
    void updateSurfacePos() override;
    void setTransparency(bool bTransparent, EReceiveTouch eReceiveTouch) override;
    void setSurfaceName(const Trell::CString& strName) override;

    // --- The platform's side ---
    void paint();
    void close();
    // The window moved or was resized by the window system.
    void move(int iX, int iY);
    void resize(unsigned int uiWidth, unsigned int uiHeight);
    void changeAppState(Trell::ISurfaceListener::EAppState eState);
    void changeRenderState(Trell::ISurfaceListener::ERenderState eState);
    // A finger event on this surface: action 0 down, 1 move, 2 up, as the
    // platform's input thread reports it to the message center.
    void touch(unsigned int uiCursor, int iX, int iY, unsigned int uiAction);

    // --- What was recorded ---
    Trell::CSurface* getOwner() const { return m_pOwner; }
    unsigned int getInitializeCount() const { return m_uiInitialize.load(); }
    unsigned int getUnInitializeCount() const { return m_uiUnInitialize.load(); }
    unsigned int getPosRefreshCount() const { return m_uiPosRefresh.load(); }
    bool isTransparent() const { return m_bTransparent.load(); }
    EReceiveTouch getReceiveTouch() const { return m_eReceiveTouch.load(); }
    Trell::CString getName() const;

private:
    CHeadlessPlatformFactory* m_pFactory;
    Trell::CSurface* m_pOwner;
    std::atomic<unsigned int> m_uiInitialize{0};
    std::atomic<unsigned int> m_uiUnInitialize{0};
    std::atomic<unsigned int> m_uiPosRefresh{0};
    std::atomic<bool> m_bTransparent{false};
    std::atomic<EReceiveTouch> m_eReceiveTouch{RECEIVE_TOUCH_ALL};
    std::atomic<int> m_iWindowX{0};
    std::atomic<int> m_iWindowY{0};
    mutable std::mutex m_mutex;
    Trell::CString m_strName; // guarded by m_mutex
};

// Creates a CHeadlessSurface for every surface that asks and keeps track of
// the live ones. Register it with CPlatformFactory and keep it alive until
// every surface is gone.
class CHeadlessPlatformFactory : public Trell::IPlatformFactory
{
    TRELL_DECLARE_ALLOCATOR(u"CHeadlessPlatformFactory")

public:
    CHeadlessPlatformFactory() = default;
    ~CHeadlessPlatformFactory() override = default;
    CHeadlessPlatformFactory(const CHeadlessPlatformFactory&) = delete;
    CHeadlessPlatformFactory& operator=(const CHeadlessPlatformFactory&) = delete;

    Trell::ISurface* createSurface(Trell::CSurface* pSurface) override;

    // The live platform surface of the surface with that index, or null.
    CHeadlessSurface* getSurface(unsigned int uiIndex) const;
    unsigned int getCreatedCount() const { return m_uiCreated.load(); }
    unsigned int getLiveCount() const;
    // What initialize() of the surfaces answers (true unless changed).
    void setInitializeResult(bool bResult) { m_bInitializeResult.store(bResult); }
    bool getInitializeResult() const { return m_bInitializeResult.load(); }

private:
    friend class CHeadlessSurface;
    void forget(CHeadlessSurface* pSurface);

    mutable std::mutex m_mutex;
    std::vector<CHeadlessSurface*> m_surfaces; // guarded by m_mutex
    std::atomic<unsigned int> m_uiCreated{0};
    std::atomic<bool> m_bInitializeResult{true};
};

} // namespace Headless

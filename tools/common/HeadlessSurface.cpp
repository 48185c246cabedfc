#include "HeadlessSurface.h"

#include <input/CSurfaceNotifier.h>
#include <message/CMessageCenter.h>

#include <algorithm>

namespace Headless {

using namespace Trell;

CHeadlessSurface::CHeadlessSurface(CHeadlessPlatformFactory* pFactory, CSurface* pOwner)
    : m_pFactory(pFactory), m_pOwner(pOwner)
{}

CHeadlessSurface::~CHeadlessSurface()
{
    if (m_pFactory)
        m_pFactory->forget(this);
}

bool CHeadlessSurface::initialize()
{
    m_uiInitialize.fetch_add(1);
    return !m_pFactory || m_pFactory->getInitializeResult();
}

void CHeadlessSurface::unInitialize()
{
    m_uiUnInitialize.fetch_add(1);
}

void CHeadlessSurface::updateSurfacePos()
{
    m_uiPosRefresh.fetch_add(1);
    CSurfaceNotifier::notifySurfacePosChange(m_pOwner, m_iWindowX.load(), m_iWindowY.load());
}

void CHeadlessSurface::setTransparency(bool bTransparent, EReceiveTouch eReceiveTouch)
{
    m_bTransparent.store(bTransparent);
    m_eReceiveTouch.store(eReceiveTouch);
}

void CHeadlessSurface::setSurfaceName(const CString& strName)
{
    std::lock_guard<std::mutex> guard(m_mutex);
    m_strName = strName;
}

CString CHeadlessSurface::getName() const
{
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_strName;
}

void CHeadlessSurface::paint()
{
    CSurfaceNotifier::notifyPaintSurface(m_pOwner);
}

void CHeadlessSurface::close()
{
    CSurfaceNotifier::notifyQuitSurface(m_pOwner);
}

void CHeadlessSurface::move(int iX, int iY)
{
    m_iWindowX.store(iX);
    m_iWindowY.store(iY);
    CSurfaceNotifier::notifySurfacePosChange(m_pOwner, iX, iY);
}

void CHeadlessSurface::resize(unsigned int uiWidth, unsigned int uiHeight)
{
    CSurfaceNotifier::notifySurfaceSizeChange(m_pOwner, uiWidth, uiHeight);
}

void CHeadlessSurface::changeAppState(ISurfaceListener::EAppState eState)
{
    CSurfaceNotifier::notifyAppStateChange(m_pOwner, eState);
}

void CHeadlessSurface::changeRenderState(ISurfaceListener::ERenderState eState)
{
    CSurfaceNotifier::notifyRenderStateChange(m_pOwner, eState);
}

void CHeadlessSurface::touch(unsigned int uiCursor, int iX, int iY, unsigned int uiAction)
{
    if (m_pOwner)
        CMessageCenter::getInstance()->pushTouchMessage(m_pOwner->getSurfaceIndex(), uiCursor, iX, iY, uiAction);
}

ISurface* CHeadlessPlatformFactory::createSurface(CSurface* pSurface)
{
    CHeadlessSurface* pHeadless = new CHeadlessSurface(this, pSurface);
    if (!pHeadless)
        return nullptr;
    m_uiCreated.fetch_add(1);
    std::lock_guard<std::mutex> guard(m_mutex);
    m_surfaces.push_back(pHeadless);
    return pHeadless;
}

CHeadlessSurface* CHeadlessPlatformFactory::getSurface(unsigned int uiIndex) const
{
    std::lock_guard<std::mutex> guard(m_mutex);
    for (CHeadlessSurface* pSurface : m_surfaces) {
        if (pSurface->getOwner() && pSurface->getOwner()->getSurfaceIndex() == uiIndex)
            return pSurface;
    }
    return nullptr;
}

unsigned int CHeadlessPlatformFactory::getLiveCount() const
{
    std::lock_guard<std::mutex> guard(m_mutex);
    return static_cast<unsigned int>(m_surfaces.size());
}

void CHeadlessPlatformFactory::forget(CHeadlessSurface* pSurface)
{
    std::lock_guard<std::mutex> guard(m_mutex);
    m_surfaces.erase(std::remove(m_surfaces.begin(), m_surfaces.end(), pSurface), m_surfaces.end());
}

} // namespace Headless

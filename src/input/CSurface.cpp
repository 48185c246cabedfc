#include <input/CSurface.h>

#include <configuration/CConfigParser.h>
#include <input/CSurfaceNotifier.h>
#include <message/CMessageCenter.h>
#include <message/CMessages.h>
#include <platform/CPlatformFactory.h>
#include <system/CLogEngine.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "message/TouchRoute.h"

#include <climits>

namespace Trell {

namespace {

// Surface indices are small. A touch point for an index beyond this that
// has no surface is dropped rather than growing the array to reach it: the
// index comes from the platform's input, not from the host.
const unsigned int MAX_ROUTED_SURFACE_INDEX = 1024;

void routeTouchPoint(unsigned int uiSurface, unsigned int uiCursor, int iX, int iY, unsigned int uiStatus)
{
    CSurface* pSurface = nullptr;
    if (uiSurface < MAX_ROUTED_SURFACE_INDEX)
        pSurface = CSurface::getInstance(uiSurface, true);
    else
        pSurface = CSurface::s_aryInstance.getAt(uiSurface);
    if (!pSurface) {
        CLogEngine::warning2(
            CStringConverter::format(u"Touch point for surface %u dropped: there is no such surface.", uiSurface));
        return;
    }
    CCursorManager& manager = pSurface->getCursorManager();
    switch (uiStatus) {
    case 0: manager.addCursor(uiCursor, iX, iY, 0); break;
    case 1: manager.updateCursor(uiCursor, iX, iY, 0); break;
    case 2: manager.removeCursor(uiCursor, iX, iY, 0); break;
    default: break;
    }
}

// The message center reaches the surfaces from the moment the library is loaded.
[[maybe_unused]] const TouchRoute::PFN_ROUTE s_pfnNoRoute = TouchRoute::install(&routeTouchPoint);

} // namespace

CObjectArray<CSurface> CSurface::s_aryInstance(true);

CSurface* CSurface::getInstance(unsigned int uiIndex, bool bCreatePlatform)
{
    // UINT_MAX + 1 entries would not fit the count.
    if (uiIndex == UINT_MAX || !s_aryInstance.reserve(uiIndex + 1))
        return nullptr;
    while (s_aryInstance.getCount() <= uiIndex)
        s_aryInstance.add(nullptr);
    if (CSurface* pSurface = s_aryInstance.getAt(uiIndex))
        return pSurface;
    CSurface* pSurface = new CSurface(uiIndex, bCreatePlatform);
    if (!pSurface)
        return nullptr;
    // Replaces the empty entry; the room is there, so this cannot fail.
    s_aryInstance.removeAt(uiIndex);
    s_aryInstance.insertAt(uiIndex, pSurface);
    return pSurface;
}

void CSurface::deleteInstance()
{
    s_aryInstance.clear();
}

CSurface* CSurface::getSurfaceByByName(const CString& strName)
{
    if (!CConfigParser::hasInstance())
        return nullptr;
    const CConfigParser* pConfig = CConfigParser::getInstance();
    const CConfigParser::tagSurface* pRecord = pConfig->getSurfaceByByName(strName);
    if (!pRecord)
        return nullptr;
    // The record was found, so the walk meets it before running out.
    unsigned int uiIndex = 0;
    while (pConfig->getSurfaceByIndex(uiIndex) != pRecord)
        ++uiIndex;
    return s_aryInstance.getAt(uiIndex);
}

CSurface::CSurface(unsigned int uiIndex, bool bCreatePlatform)
    : m_pListener(nullptr), m_cursorManager(), m_uiIndex(uiIndex), m_iX(0), m_iY(0), m_uiWidth(0), m_uiHeight(0),
      m_pSurface(nullptr)
{
    if (bCreatePlatform) {
        if (CPlatformFactory* pFactory = CPlatformFactory::getInstance())
            m_pSurface = pFactory->createSurface(this);
    }
}

CSurface::~CSurface()
{
    delete m_pSurface;
    m_pSurface = nullptr;
}

bool CSurface::initialize()
{
    if (!m_pSurface)
        return false;
    const CConfigParser* pConfig = CConfigParser::getInstance();
    const CConfigParser::tagSurface* pRecord = pConfig ? pConfig->getSurfaceByIndex(m_uiIndex) : nullptr;
    if (!pRecord)
        return false;
    m_iX.store(pRecord->offset_x);
    m_iY.store(pRecord->offset_y);
    m_uiWidth.store(pRecord->width);
    m_uiHeight.store(pRecord->height);
    return m_pSurface->initialize();
}

void CSurface::unInitialize()
{
    if (m_pSurface)
        m_pSurface->unInitialize();
    m_cursorManager.unInitialize();
}

void CSurface::setTransparency(bool bTransparent, ISurface::EReceiveTouch eReceiveTouch)
{
    if (m_pSurface)
        m_pSurface->setTransparency(bTransparent, eReceiveTouch);
}

void CSurface::setSurfaceName(const CString& strName)
{
    if (m_pSurface)
        m_pSurface->setSurfaceName(strName);
}

void CSurface::setEnable(bool bEnable)
{
    m_cursorManager.setEnable(bEnable);
}

void CSurface::setTouchListener(ITouchListener* pListener)
{
    m_cursorManager.setTouchListener(pListener);
}

void CSurface::setSurfaceListener(ISurfaceListener* pListener)
{
    m_pListener.store(pListener);
}

int CSurface::getSurfaceX()
{
    if (m_pSurface)
        m_pSurface->updateSurfacePos();
    return m_iX.load();
}

int CSurface::getSurfaceY()
{
    if (m_pSurface)
        m_pSurface->updateSurfacePos();
    return m_iY.load();
}

void CSurface::notifyPaintSurface()
{
    CMessageCenter::getInstance()->pushRenderMessage(m_uiIndex);
}

void CSurface::notifyQuitSurface()
{
    CMessageCenter::getInstance()->pushMessage(new CMsgQuit());
}

void CSurface::notifySurfacePosChange(int iX, int iY)
{
    m_iX.store(iX);
    m_iY.store(iY);
}

void CSurface::notifySurfaceSizeChange(unsigned int uiWidth, unsigned int uiHeight)
{
    m_uiWidth.store(uiWidth);
    m_uiHeight.store(uiHeight);
}

void CSurface::notifyAppStateChange(ISurfaceListener::EAppState eState)
{
    if (ISurfaceListener* pListener = m_pListener.load())
        pListener->onAppStateChange(eState);
}

void CSurface::notifyRenderStateChange(ISurfaceListener::ERenderState eState)
{
    if (ISurfaceListener* pListener = m_pListener.load())
        pListener->onRenderStateChange(m_uiIndex, eState);
}

// --- ISurfaceListener ---

ISurfaceListener::~ISurfaceListener()
{}

void ISurfaceListener::onSurfaceEvent(unsigned int, unsigned int, void*)
{}

// --- CSurfaceNotifier ---

void CSurfaceNotifier::notifyPaintSurface(CSurface* pSurface)
{
    if (pSurface)
        pSurface->notifyPaintSurface();
}

void CSurfaceNotifier::notifyQuitSurface(CSurface* pSurface)
{
    if (pSurface)
        pSurface->notifyQuitSurface();
}

void CSurfaceNotifier::notifySurfacePosChange(CSurface* pSurface, int iX, int iY)
{
    if (pSurface)
        pSurface->notifySurfacePosChange(iX, iY);
}

void CSurfaceNotifier::notifySurfaceSizeChange(CSurface* pSurface, unsigned int uiWidth, unsigned int uiHeight)
{
    if (pSurface)
        pSurface->notifySurfaceSizeChange(uiWidth, uiHeight);
}

void CSurfaceNotifier::notifyAppStateChange(CSurface* pSurface, ISurfaceListener::EAppState eState)
{
    if (pSurface)
        pSurface->notifyAppStateChange(eState);
}

void CSurfaceNotifier::notifyRenderStateChange(CSurface* pSurface, ISurfaceListener::ERenderState eState)
{
    if (pSurface)
        pSurface->notifyRenderStateChange(eState);
}

} // namespace Trell

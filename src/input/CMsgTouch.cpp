#include <input/CMsgTouch.h>

#include <input/ITouchListener.h>
#include <message/CMessageCenter.h>

namespace Trell {

ITouchListener::~ITouchListener()
{
    // Asking must not build a center at shutdown.
    if (CMessageCenter::hasInstance())
        CMessageCenter::getInstance()->deleteMessageByListener(this);
}

CMsgTouch::CMsgTouch() : CBaseMessage(MESSAGE_TYPE_TOUCH), m_pListener(nullptr), m_cursor()
{}

CMsgTouch::CMsgTouch(ITouchListener* pListener, const CCursor& cursor)
    : CBaseMessage(MESSAGE_TYPE_TOUCH), m_pListener(pListener), m_cursor(cursor)
{}

CMsgTouch::CMsgTouch(const CMsgTouch& other)
    : CBaseMessage(other), m_pListener(other.m_pListener), m_cursor(other.m_cursor)
{}

CMsgTouch& CMsgTouch::operator=(const CMsgTouch& other)
{
    CBaseMessage::operator=(other);
    m_pListener = other.m_pListener;
    m_cursor = other.m_cursor;
    return *this;
}

CMsgTouch::~CMsgTouch()
{}

void CMsgTouch::handleMessage()
{
    if (!m_pListener)
        return;
    switch (m_cursor.getTouchStatus()) {
    case CCursor::TOUCH_STATUS_PRESS: m_pListener->onTouchPress(m_cursor); break;
    case CCursor::TOUCH_STATUS_MOVE: m_pListener->onTouchMove(m_cursor); break;
    case CCursor::TOUCH_STATUS_RELEASE: m_pListener->onTouchRelease(m_cursor); break;
    case CCursor::TOUCH_STATUS_WHEEL: m_pListener->onTouchWheel(m_cursor); break;
    default: break;
    }
}

bool CMsgTouch::isAddressedTo(const void* pListener) const
{
    return m_pListener != nullptr && m_pListener == pListener;
}

} // namespace Trell

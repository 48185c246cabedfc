#include <message/CBaseMessage.h>

#include <message/CMessageCenter.h>

namespace Trell {

CBaseMessage::CBaseMessage(EMessageType eType, unsigned int uiID, CObject* pData)
    : CObject(), m_eType(eType), m_uiID(uiID), m_pData(pData)
{}

CBaseMessage::~CBaseMessage()
{}

void CBaseMessage::setData(CObject* pData)
{
    if (pData == m_pData.get())
        return;
    m_pData.reset(pData);
}

CString CBaseMessage::getTypeName() const
{
    return getTypeName(m_eType);
}

CString CBaseMessage::getTypeName(unsigned int uiType)
{
    switch (uiType) {
    case MESSAGE_TYPE_RENDER: return CString(u"Render");
    case MESSAGE_TYPE_SYSTEM: return CString(u"System");
    case MESSAGE_TYPE_QUIT: return CString(u"Quit");
    case MESSAGE_TYPE_TOUCH: return CString(u"Touch");
    case MESSAGE_TYPE_GESTURE: return CString(u"Gesture");
    case MESSAGE_TYPE_HARDKEY: return CString(u"Hardkey");
    case MESSAGE_TYPE_IME: return CString(u"IME");
    case MESSAGE_TYPE_LOGIC_EVENT: return CString(u"Logic Event");
    case MESSAGE_TYPE_VOICE_CONTENT: return CString(u"Voice Content");
    case MESSAGE_TYPE_DATA_CONTEXT: return CString(u"Data Context");
    case MESSAGE_TYPE_SHARE_MEMORY: return CString(u"Share Memory");
    case MESSAGE_TYPE_DATA_TRANSFER: return CString(u"Data Transfer");
    case MESSAGE_TYPE_HTTP_CONNECTOR: return CString(u"Http Connector");
    case MESSAGE_TYPE_WEB_BROWSER: return CString(u"Web Browser");
    case MESSAGE_TYPE_TIMER: return CString(u"Timer");
    case MESSAGE_TYPE_USER: return CString(u"User");
    default: return CString(u"Unknown");
    }
}

void CBaseMessage::handleMessage()
{
    // Without a center there is no listener; asking must not create one.
    deliverTo(CMessageCenter::hasInstance() ? CMessageCenter::getInstance()->getListener() : nullptr);
}

void CBaseMessage::deliverTo(IMessageCenterListener*)
{}

bool CBaseMessage::absorbNext(CBaseMessage*)
{
    return false;
}

bool CBaseMessage::dropTimerEntries(std::uintptr_t)
{
    return false;
}

bool CBaseMessage::isAddressedTo(const void*) const
{
    return false;
}

} // namespace Trell

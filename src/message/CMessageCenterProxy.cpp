#include <message/CMessageCenterProxy.h>

#include <message/CMessageCenter.h>

namespace Trell {

void CMessageCenterProxy::pushSystemMessage(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener)
{
    CMessageCenter::getInstance()->pushSystemMessage(uiCommand, pData, pListener);
}

void CMessageCenterProxy::pushUserMessage(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener)
{
    CMessageCenter::getInstance()->pushUserMessage(uiCommand, pData, pListener);
}

void CMessageCenterProxy::pushGestureMessage(unsigned int uiGesture, unsigned int uiID, CObject* pData)
{
    CMessageCenter::getInstance()->pushGestureMessage(uiGesture, uiID, pData);
}

void CMessageCenterProxy::pushHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus)
{
    CMessageCenter::getInstance()->pushHardkeyMessage(uiKeyCode, uiKeyStatus);
}

void CMessageCenterProxy::pushIMEMessage(const CString& strText)
{
    CMessageCenter::getInstance()->pushIMEMessage(strText);
}

void CMessageCenterProxy::pushTouchMessage(unsigned int uiSurface, unsigned int uiCursor, int iX, int iY,
                                           unsigned int uiStatus)
{
    CMessageCenter::getInstance()->pushTouchMessage(uiSurface, uiCursor, iX, iY, uiStatus);
}

void CMessageCenterProxy::pushLogicEventMessage(unsigned int uiEvent)
{
    CMessageCenter::getInstance()->pushLogicEventMessage(uiEvent);
}

void CMessageCenterProxy::pushVoiceContentMessage(const CString& strText)
{
    CMessageCenter::getInstance()->pushVoiceContentMessage(strText);
}

void CMessageCenterProxy::pushDataContextMessage(unsigned int uiID, CObject* pData)
{
    CMessageCenter::getInstance()->pushDataContextMessage(uiID, pData);
}

bool CMessageCenterProxy::isCtrlKeyPress()
{
    return CMessageCenter::getInstance()->isCtrlKeyPress();
}

bool CMessageCenterProxy::isShiftKeyPress()
{
    return CMessageCenter::getInstance()->isShiftKeyPress();
}

bool CMessageCenterProxy::isAltKeyPress()
{
    return CMessageCenter::getInstance()->isAltKeyPress();
}

} // namespace Trell

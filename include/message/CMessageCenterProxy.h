#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CObject;
class CString;
class IMsgSystemListener;
class IMsgUserListener;

// Static pushes for callers that should not see the message center itself;
// each forwards to CMessageCenter::getInstance().
class ECS_API CMessageCenterProxy
{
    TRELL_DECLARE_ALLOCATOR(u"CMessageCenterProxy")

public:
    static void pushSystemMessage(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener);
    static void pushUserMessage(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener);
    static void pushGestureMessage(unsigned int uiGesture, unsigned int uiID, CObject* pData);
    static void pushHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus);
    static void pushIMEMessage(const CString& strText);
    static void pushTouchMessage(unsigned int uiSurface, unsigned int uiCursor, int iX, int iY, unsigned int uiStatus);
    static void pushLogicEventMessage(unsigned int uiEvent);
    static void pushVoiceContentMessage(const CString& strText);
    static void pushDataContextMessage(unsigned int uiID, CObject* pData);
    static bool isCtrlKeyPress();
    static bool isShiftKeyPress();
    static bool isAltKeyPress();
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CObject;
class CString;

// Implemented by the engine and registered with CMessageCenter::setListener.
// The handle callbacks run on the thread that pops and handles messages (the
// main thread); onMessageAvailable runs on the pushing thread, without the
// center's lock held. The data arguments are the payload pointers themselves
// (may be null; no reference is added for the call).
class ECS_API IMessageCenterListener
{
    TRELL_DECLARE_ALLOCATOR(u"IMessageCenterListener")

public:
    virtual ~IMessageCenterListener() {}

    virtual void onHandleQuitMessage() {}
    virtual void onHandleRenderMessage(unsigned int uiID) { (void)uiID; }
    virtual void onHandleLogicEventMessage(unsigned int uiEvent) { (void)uiEvent; }
    virtual void onHandleVoiceContentMessage(const CString& strText) { (void)strText; }
    virtual void onHandleSystemMessage(unsigned int uiCommand, CObject* pData)
    {
        (void)uiCommand;
        (void)pData;
    }
    virtual void onHandleGestureMessage(unsigned int uiGesture, unsigned int uiID, CObject* pData)
    {
        (void)uiGesture;
        (void)uiID;
        (void)pData;
    }
    virtual void onHandleHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus)
    {
        (void)uiKeyCode;
        (void)uiKeyStatus;
    }
    virtual void onHandleIMEMessage(const CString& strText) { (void)strText; }
    virtual void onHandleDataContextMessage(unsigned int uiID, CObject* pData)
    {
        (void)uiID;
        (void)pData;
    }
    virtual void onHandleUserMessage(unsigned int uiCommand, CObject* pData)
    {
        (void)uiCommand;
        (void)pData;
    }
    virtual void onMessageAvailable() {}
};

} // namespace Trell

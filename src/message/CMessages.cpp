#include <message/CMessages.h>

#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>

namespace Trell {

// --- CMsgRender ---

CMsgRender::CMsgRender() : CBaseMessage(MESSAGE_TYPE_RENDER)
{}
CMsgRender::CMsgRender(unsigned int uiID) : CBaseMessage(MESSAGE_TYPE_RENDER, uiID)
{}
CMsgRender::~CMsgRender()
{}

void CMsgRender::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleRenderMessage(getID());
}

// --- CMsgSystem ---

const unsigned int CMsgSystem::REQUEST_QUIT = 0;
const unsigned int CMsgSystem::CHANGE_LANGUAGE = 10;
const unsigned int CMsgSystem::CHANGE_SKIN = 11;
const unsigned int CMsgSystem::CHANGE_THEME = 12;
const unsigned int CMsgSystem::SET_DATA_LIST_ITEM_COUNT = 20;
const unsigned int CMsgSystem::APPEND_DATA_LIST_ITEM_COUNT = 21;
const unsigned int CMsgSystem::UPDATE_DATA_LIST_ITEM_PROPERTY = 22;
const unsigned int CMsgSystem::UPDATE_DATA_LIST_ITEMS_PROPERTIES = 23;
const unsigned int CMsgSystem::SET_DATA_LIST_SELECT_ITEM = 24;
const unsigned int CMsgSystem::SET_DATA_LIST_SELECT_ITEMS = 25;
const unsigned int CMsgSystem::UPDATE_DATA_PROPERTY = 30;
const unsigned int CMsgSystem::UPDATE_DATA_PROPERTIES = 31;
const unsigned int CMsgSystem::LEAVE_PAGE = 50;
const unsigned int CMsgSystem::LEAVE_POPUP = 51;
const unsigned int CMsgSystem::USER_DEFINE = 1000;

CMsgSystem::CMsgSystem() : CBaseMessage(MESSAGE_TYPE_SYSTEM), m_pListener(nullptr)
{}
CMsgSystem::CMsgSystem(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener)
    : CBaseMessage(MESSAGE_TYPE_SYSTEM, uiCommand, pData), m_pListener(pListener)
{}
CMsgSystem::~CMsgSystem()
{}

void CMsgSystem::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleSystemMessage(getID(), peekData());
    if (m_pListener)
        m_pListener->onHandleSystemMessage(getID(), peekData());
}

// --- CMsgQuit ---

CMsgQuit::CMsgQuit() : CBaseMessage(MESSAGE_TYPE_QUIT)
{}
CMsgQuit::~CMsgQuit()
{}

void CMsgQuit::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleQuitMessage();
}

// --- CMsgGesture ---

CMsgGesture::CMsgGesture() : CBaseMessage(MESSAGE_TYPE_GESTURE), m_uiGesture(0)
{}
CMsgGesture::CMsgGesture(unsigned int uiGesture, unsigned int uiID, CObject* pData)
    : CBaseMessage(MESSAGE_TYPE_GESTURE, uiID, pData), m_uiGesture(uiGesture)
{}
CMsgGesture::~CMsgGesture()
{}

void CMsgGesture::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleGestureMessage(m_uiGesture, getID(), peekData());
}

// --- CMsgHardkey ---

CMsgHardkey::CMsgHardkey() : CBaseMessage(MESSAGE_TYPE_HARDKEY), m_uiKeyStatus(0)
{}
CMsgHardkey::CMsgHardkey(unsigned int uiKeyCode, unsigned int uiKeyStatus)
    : CBaseMessage(MESSAGE_TYPE_HARDKEY, uiKeyCode), m_uiKeyStatus(uiKeyStatus)
{}
CMsgHardkey::~CMsgHardkey()
{}

void CMsgHardkey::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleHardkeyMessage(getID(), m_uiKeyStatus);
}

// --- CMsgIME ---

CMsgIME::CMsgIME() : CBaseMessage(MESSAGE_TYPE_IME)
{}
CMsgIME::CMsgIME(const CString& strText) : CBaseMessage(MESSAGE_TYPE_IME), m_strText(strText)
{}
CMsgIME::~CMsgIME()
{}

void CMsgIME::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleIMEMessage(m_strText);
}

// --- CMsgLogicEvent ---

CMsgLogicEvent::CMsgLogicEvent() : CBaseMessage(MESSAGE_TYPE_LOGIC_EVENT)
{}
CMsgLogicEvent::CMsgLogicEvent(unsigned int uiEvent) : CBaseMessage(MESSAGE_TYPE_LOGIC_EVENT, uiEvent)
{}
CMsgLogicEvent::~CMsgLogicEvent()
{}

void CMsgLogicEvent::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleLogicEventMessage(getID());
}

// --- CMsgVoiceContent ---

CMsgVoiceContent::CMsgVoiceContent() : CBaseMessage(MESSAGE_TYPE_VOICE_CONTENT)
{}
CMsgVoiceContent::CMsgVoiceContent(const CString& strText)
    : CBaseMessage(MESSAGE_TYPE_VOICE_CONTENT), m_strText(strText)
{}
CMsgVoiceContent::~CMsgVoiceContent()
{}

void CMsgVoiceContent::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleVoiceContentMessage(m_strText);
}

// --- CMsgDataContext ---

CMsgDataContext::CMsgDataContext() : CBaseMessage(MESSAGE_TYPE_DATA_CONTEXT)
{}
CMsgDataContext::CMsgDataContext(unsigned int uiID, CObject* pData)
    : CBaseMessage(MESSAGE_TYPE_DATA_CONTEXT, uiID, pData)
{}
CMsgDataContext::~CMsgDataContext()
{}

void CMsgDataContext::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleDataContextMessage(getID(), peekData());
}

// --- CMsgUser ---

CMsgUser::CMsgUser() : CBaseMessage(MESSAGE_TYPE_USER), m_pListener(nullptr)
{}
CMsgUser::CMsgUser(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener)
    : CBaseMessage(MESSAGE_TYPE_USER, uiCommand, pData), m_pListener(pListener)
{}
CMsgUser::~CMsgUser()
{}

void CMsgUser::deliverTo(IMessageCenterListener* pListener)
{
    if (pListener)
        pListener->onHandleUserMessage(getID(), peekData());
    if (m_pListener)
        m_pListener->onHandleUserMessage(getID(), peekData());
}

} // namespace Trell

#include <message/CMessages.h>

#include <message/CMessageCenter.h>
#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>

namespace Trell {

namespace {

IMessageCenterListener* centerListener()
{
    return CMessageCenter::getInstance()->getListener();
}

} // namespace

// --- CMsgRender ---

CMsgRender::CMsgRender() : CBaseMessage(MESSAGE_TYPE_RENDER) {}
CMsgRender::CMsgRender(unsigned int uiID) : CBaseMessage(MESSAGE_TYPE_RENDER, uiID) {}
CMsgRender::CMsgRender(const CMsgRender& other) : CBaseMessage(other) {}
CMsgRender& CMsgRender::operator=(const CMsgRender& other)
{
    CBaseMessage::operator=(other);
    return *this;
}
CMsgRender::~CMsgRender() {}

void CMsgRender::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
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

CMsgSystem::CMsgSystem() : CBaseMessage(MESSAGE_TYPE_SYSTEM), m_pListener(nullptr) {}
CMsgSystem::CMsgSystem(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener)
    : CBaseMessage(MESSAGE_TYPE_SYSTEM, uiCommand, pData), m_pListener(pListener)
{
}
CMsgSystem::CMsgSystem(const CMsgSystem& other) : CBaseMessage(other), m_pListener(other.m_pListener) {}
CMsgSystem& CMsgSystem::operator=(const CMsgSystem& other)
{
    CBaseMessage::operator=(other);
    m_pListener = other.m_pListener;
    return *this;
}
CMsgSystem::~CMsgSystem() {}

void CMsgSystem::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleSystemMessage(getID(), peekData());
    if (m_pListener)
        m_pListener->onHandleSystemMessage(getID(), peekData());
}

// --- CMsgQuit ---

CMsgQuit::CMsgQuit() : CBaseMessage(MESSAGE_TYPE_QUIT) {}
CMsgQuit::CMsgQuit(const CMsgQuit& other) : CBaseMessage(other) {}
CMsgQuit& CMsgQuit::operator=(const CMsgQuit& other)
{
    CBaseMessage::operator=(other);
    return *this;
}
CMsgQuit::~CMsgQuit() {}

void CMsgQuit::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleQuitMessage();
}

// --- CMsgGesture ---

CMsgGesture::CMsgGesture() : CBaseMessage(MESSAGE_TYPE_GESTURE), m_uiGesture(0) {}
CMsgGesture::CMsgGesture(unsigned int uiGesture, unsigned int uiID, CObject* pData)
    : CBaseMessage(MESSAGE_TYPE_GESTURE, uiID, pData), m_uiGesture(uiGesture)
{
}
CMsgGesture::CMsgGesture(const CMsgGesture& other) : CBaseMessage(other), m_uiGesture(other.m_uiGesture) {}
CMsgGesture& CMsgGesture::operator=(const CMsgGesture& other)
{
    CBaseMessage::operator=(other);
    m_uiGesture = other.m_uiGesture;
    return *this;
}
CMsgGesture::~CMsgGesture() {}

void CMsgGesture::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleGestureMessage(m_uiGesture, getID(), peekData());
}

// --- CMsgHardkey ---

CMsgHardkey::CMsgHardkey() : CBaseMessage(MESSAGE_TYPE_HARDKEY), m_uiKeyStatus(0) {}
CMsgHardkey::CMsgHardkey(unsigned int uiKeyCode, unsigned int uiKeyStatus)
    : CBaseMessage(MESSAGE_TYPE_HARDKEY, uiKeyCode), m_uiKeyStatus(uiKeyStatus)
{
}
CMsgHardkey::CMsgHardkey(const CMsgHardkey& other) : CBaseMessage(other), m_uiKeyStatus(other.m_uiKeyStatus) {}
CMsgHardkey& CMsgHardkey::operator=(const CMsgHardkey& other)
{
    CBaseMessage::operator=(other);
    m_uiKeyStatus = other.m_uiKeyStatus;
    return *this;
}
CMsgHardkey::~CMsgHardkey() {}

void CMsgHardkey::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleHardkeyMessage(getID(), m_uiKeyStatus);
}

// --- CMsgIME ---

CMsgIME::CMsgIME() : CBaseMessage(MESSAGE_TYPE_IME) {}
CMsgIME::CMsgIME(const CString& strText) : CBaseMessage(MESSAGE_TYPE_IME), m_strText(strText) {}
CMsgIME::CMsgIME(const CMsgIME& other) : CBaseMessage(other), m_strText(other.m_strText) {}
CMsgIME& CMsgIME::operator=(const CMsgIME& other)
{
    CBaseMessage::operator=(other);
    m_strText = other.m_strText;
    return *this;
}
CMsgIME::~CMsgIME() {}

void CMsgIME::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleIMEMessage(m_strText);
}

// --- CMsgLogicEvent ---

CMsgLogicEvent::CMsgLogicEvent() : CBaseMessage(MESSAGE_TYPE_LOGIC_EVENT) {}
CMsgLogicEvent::CMsgLogicEvent(unsigned int uiEvent) : CBaseMessage(MESSAGE_TYPE_LOGIC_EVENT, uiEvent) {}
CMsgLogicEvent::CMsgLogicEvent(const CMsgLogicEvent& other) : CBaseMessage(other) {}
CMsgLogicEvent& CMsgLogicEvent::operator=(const CMsgLogicEvent& other)
{
    CBaseMessage::operator=(other);
    return *this;
}
CMsgLogicEvent::~CMsgLogicEvent() {}

void CMsgLogicEvent::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleLogicEventMessage(getID());
}

// --- CMsgVoiceContent ---

CMsgVoiceContent::CMsgVoiceContent() : CBaseMessage(MESSAGE_TYPE_VOICE_CONTENT) {}
CMsgVoiceContent::CMsgVoiceContent(const CString& strText)
    : CBaseMessage(MESSAGE_TYPE_VOICE_CONTENT), m_strText(strText)
{
}
CMsgVoiceContent::CMsgVoiceContent(const CMsgVoiceContent& other) : CBaseMessage(other), m_strText(other.m_strText) {}
CMsgVoiceContent& CMsgVoiceContent::operator=(const CMsgVoiceContent& other)
{
    CBaseMessage::operator=(other);
    m_strText = other.m_strText;
    return *this;
}
CMsgVoiceContent::~CMsgVoiceContent() {}

void CMsgVoiceContent::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleVoiceContentMessage(m_strText);
}

// --- CMsgDataContext ---

CMsgDataContext::CMsgDataContext() : CBaseMessage(MESSAGE_TYPE_DATA_CONTEXT) {}
CMsgDataContext::CMsgDataContext(unsigned int uiID, CObject* pData)
    : CBaseMessage(MESSAGE_TYPE_DATA_CONTEXT, uiID, pData)
{
}
CMsgDataContext::CMsgDataContext(const CMsgDataContext& other) : CBaseMessage(other) {}
CMsgDataContext& CMsgDataContext::operator=(const CMsgDataContext& other)
{
    CBaseMessage::operator=(other);
    return *this;
}
CMsgDataContext::~CMsgDataContext() {}

void CMsgDataContext::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleDataContextMessage(getID(), peekData());
}

// --- CMsgUser ---

CMsgUser::CMsgUser() : CBaseMessage(MESSAGE_TYPE_USER), m_pListener(nullptr) {}
CMsgUser::CMsgUser(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener)
    : CBaseMessage(MESSAGE_TYPE_USER, uiCommand, pData), m_pListener(pListener)
{
}
CMsgUser::CMsgUser(const CMsgUser& other) : CBaseMessage(other), m_pListener(other.m_pListener) {}
CMsgUser& CMsgUser::operator=(const CMsgUser& other)
{
    CBaseMessage::operator=(other);
    m_pListener = other.m_pListener;
    return *this;
}
CMsgUser::~CMsgUser() {}

void CMsgUser::handleMessage()
{
    if (IMessageCenterListener* pListener = centerListener())
        pListener->onHandleUserMessage(getID(), peekData());
    if (m_pListener)
        m_pListener->onHandleUserMessage(getID(), peekData());
}

} // namespace Trell

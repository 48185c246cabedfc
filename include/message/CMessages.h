#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <message/CBaseMessage.h>
#include <text/CString.h>

namespace Trell {

class IMessageCenterListener;
class IMsgSystemListener;
class IMsgUserListener;

// The message classes of the engine's main loop. Each one fixes its type in
// its constructor and delivers itself to the message center's listener
// (handleMessage() of the base passes it in); without a listener handling
// does nothing. Default
// constructors leave the ID 0, the payload empty and their own fields zero.

// A request to refresh one render target (ID = target).
class ECS_API CMsgRender : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgRender")

public:
    CMsgRender();
    explicit CMsgRender(unsigned int uiID);
    ~CMsgRender() override;

protected:
    CMsgRender(const CMsgRender& other) = default;
    CMsgRender& operator=(const CMsgRender& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;
};

// A system command (ID = command) with an optional payload and an optional
// extra listener that hears it after the center's listener.
class ECS_API CMsgSystem : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgSystem")

public:
    static const unsigned int REQUEST_QUIT;
    static const unsigned int CHANGE_LANGUAGE;
    static const unsigned int CHANGE_SKIN;
    static const unsigned int CHANGE_THEME;
    static const unsigned int SET_DATA_LIST_ITEM_COUNT;
    static const unsigned int APPEND_DATA_LIST_ITEM_COUNT;
    static const unsigned int UPDATE_DATA_LIST_ITEM_PROPERTY;
    static const unsigned int UPDATE_DATA_LIST_ITEMS_PROPERTIES;
    static const unsigned int SET_DATA_LIST_SELECT_ITEM;
    static const unsigned int SET_DATA_LIST_SELECT_ITEMS;
    static const unsigned int UPDATE_DATA_PROPERTY;
    static const unsigned int UPDATE_DATA_PROPERTIES;
    static const unsigned int LEAVE_PAGE;
    static const unsigned int LEAVE_POPUP;
    static const unsigned int USER_DEFINE;

    CMsgSystem();
    CMsgSystem(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener);
    ~CMsgSystem() override;
    IMsgSystemListener* getListener() const { return m_pListener; }

protected:
    CMsgSystem(const CMsgSystem& other) = default;
    CMsgSystem& operator=(const CMsgSystem& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;

private:
    IMsgSystemListener* m_pListener; // not owned
};

class ECS_API CMsgQuit : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgQuit")

public:
    CMsgQuit();
    ~CMsgQuit() override;

protected:
    CMsgQuit(const CMsgQuit& other) = default;
    CMsgQuit& operator=(const CMsgQuit& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;
};

// ID = the second constructor argument; the first is the gesture value.
class ECS_API CMsgGesture : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgGesture")

public:
    CMsgGesture();
    CMsgGesture(unsigned int uiGesture, unsigned int uiID, CObject* pData);
    ~CMsgGesture() override;
    unsigned int getGesture() const { return m_uiGesture; }

protected:
    CMsgGesture(const CMsgGesture& other) = default;
    CMsgGesture& operator=(const CMsgGesture& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;

private:
    unsigned int m_uiGesture;
};

// ID = key code (see CHardkeyTable).
class ECS_API CMsgHardkey : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgHardkey")

public:
    CMsgHardkey();
    CMsgHardkey(unsigned int uiKeyCode, unsigned int uiKeyStatus);
    ~CMsgHardkey() override;
    unsigned int getKeyStatus() const { return m_uiKeyStatus; }

protected:
    CMsgHardkey(const CMsgHardkey& other) = default;
    CMsgHardkey& operator=(const CMsgHardkey& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;

private:
    unsigned int m_uiKeyStatus;
};

class ECS_API CMsgIME : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgIME")

public:
    CMsgIME();
    explicit CMsgIME(const CString& strText);
    ~CMsgIME() override;
    const CString& getText() const { return m_strText; }

protected:
    CMsgIME(const CMsgIME& other) = default;
    CMsgIME& operator=(const CMsgIME& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;

private:
    CString m_strText;
};

// ID = event.
class ECS_API CMsgLogicEvent : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgLogicEvent")

public:
    CMsgLogicEvent();
    explicit CMsgLogicEvent(unsigned int uiEvent);
    ~CMsgLogicEvent() override;

protected:
    CMsgLogicEvent(const CMsgLogicEvent& other) = default;
    CMsgLogicEvent& operator=(const CMsgLogicEvent& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;
};

class ECS_API CMsgVoiceContent : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgVoiceContent")

public:
    CMsgVoiceContent();
    explicit CMsgVoiceContent(const CString& strText);
    ~CMsgVoiceContent() override;
    const CString& getText() const { return m_strText; }

protected:
    CMsgVoiceContent(const CMsgVoiceContent& other) = default;
    CMsgVoiceContent& operator=(const CMsgVoiceContent& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;

private:
    CString m_strText;
};

class ECS_API CMsgDataContext : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgDataContext")

public:
    CMsgDataContext();
    CMsgDataContext(unsigned int uiID, CObject* pData);
    ~CMsgDataContext() override;

protected:
    CMsgDataContext(const CMsgDataContext& other) = default;
    CMsgDataContext& operator=(const CMsgDataContext& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;
};

// A user command; otherwise as CMsgSystem.
class ECS_API CMsgUser : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgUser")

public:
    CMsgUser();
    CMsgUser(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener);
    ~CMsgUser() override;
    IMsgUserListener* getListener() const { return m_pListener; }

protected:
    CMsgUser(const CMsgUser& other) = default;
    CMsgUser& operator=(const CMsgUser& other) = default;
    void deliverTo(IMessageCenterListener* pListener) override;

private:
    IMsgUserListener* m_pListener; // not owned
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <message/CBaseMessage.h>
#include <text/CString.h>

namespace Trell {

class IMsgSystemListener;
class IMsgUserListener;

// The message classes of the engine's main loop. Each one fixes its type in
// its constructor and delivers itself to the message center's listener in
// handleMessage(); without a listener handling does nothing. Default
// constructors leave the ID 0, the payload empty and their own fields zero.

// A request to refresh one render target (ID = target).
class ECS_API CMsgRender : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgRender")

public:
    CMsgRender();
    explicit CMsgRender(unsigned int uiID);
    ~CMsgRender() override;
    void handleMessage() override;

protected:
    CMsgRender(const CMsgRender& other);
    CMsgRender& operator=(const CMsgRender& other);
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
    void handleMessage() override;

protected:
    CMsgSystem(const CMsgSystem& other);
    CMsgSystem& operator=(const CMsgSystem& other);

private:
    IMsgSystemListener* m_pListener; // not owned
};

class ECS_API CMsgQuit : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgQuit")

public:
    CMsgQuit();
    ~CMsgQuit() override;
    void handleMessage() override;

protected:
    CMsgQuit(const CMsgQuit& other);
    CMsgQuit& operator=(const CMsgQuit& other);
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
    void handleMessage() override;

protected:
    CMsgGesture(const CMsgGesture& other);
    CMsgGesture& operator=(const CMsgGesture& other);

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
    void handleMessage() override;

protected:
    CMsgHardkey(const CMsgHardkey& other);
    CMsgHardkey& operator=(const CMsgHardkey& other);

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
    void handleMessage() override;

protected:
    CMsgIME(const CMsgIME& other);
    CMsgIME& operator=(const CMsgIME& other);

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
    void handleMessage() override;

protected:
    CMsgLogicEvent(const CMsgLogicEvent& other);
    CMsgLogicEvent& operator=(const CMsgLogicEvent& other);
};

class ECS_API CMsgVoiceContent : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgVoiceContent")

public:
    CMsgVoiceContent();
    explicit CMsgVoiceContent(const CString& strText);
    ~CMsgVoiceContent() override;
    const CString& getText() const { return m_strText; }
    void handleMessage() override;

protected:
    CMsgVoiceContent(const CMsgVoiceContent& other);
    CMsgVoiceContent& operator=(const CMsgVoiceContent& other);

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
    void handleMessage() override;

protected:
    CMsgDataContext(const CMsgDataContext& other);
    CMsgDataContext& operator=(const CMsgDataContext& other);
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
    void handleMessage() override;

protected:
    CMsgUser(const CMsgUser& other);
    CMsgUser& operator=(const CMsgUser& other);

private:
    IMsgUserListener* m_pListener; // not owned
};

} // namespace Trell

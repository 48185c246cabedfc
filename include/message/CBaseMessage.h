#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectPtr.h>
#include <foundation/Export.h>
#include <text/CString.h>

#include <cstdint>

namespace Trell {

class IMessageCenterListener;

// Base of everything that travels through the message center. The type is
// fixed by the subclass's constructor and selects the queue that holds the
// message; handleMessage() delivers it to the listener registered with the
// message center. A message starts with reference count 0: the center holds
// the raw pointer and popMessage() hands it out in a CObjectPtr.
class ECS_API CBaseMessage : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CBaseMessage")

public:
    // The type numbers are part of the interface: producers outside this
    // library (and the queue selection of the center) rely on the values.
    enum EMessageType : unsigned int
    {
        MESSAGE_TYPE_UNKNOWN = 0,
        MESSAGE_TYPE_RENDER = 1,
        MESSAGE_TYPE_SYSTEM = 10,
        MESSAGE_TYPE_QUIT = 11,
        MESSAGE_TYPE_TOUCH = 20,
        MESSAGE_TYPE_GESTURE = 21,
        MESSAGE_TYPE_HARDKEY = 22,
        MESSAGE_TYPE_IME = 23,
        MESSAGE_TYPE_LOGIC_EVENT = 24,
        MESSAGE_TYPE_VOICE_CONTENT = 25,
        MESSAGE_TYPE_DATA_CONTEXT = 31,
        MESSAGE_TYPE_SHARE_MEMORY = 32,
        MESSAGE_TYPE_DATA_TRANSFER = 33,
        MESSAGE_TYPE_HTTP_CONNECTOR = 34,
        MESSAGE_TYPE_WEB_BROWSER = 35,
        MESSAGE_TYPE_TIMER = 40,
        MESSAGE_TYPE_USER = 50
    };

    ~CBaseMessage() override;

    EMessageType getType() const { return m_eType; }
    unsigned int getID() const { return m_uiID; }
    void setID(unsigned int uiID) { m_uiID = uiID; }

    // A new holder on the payload (adds a reference); empty without payload.
    CObjectPtr<CObject> getData() const { return m_pData; }
    // Replaces the payload: the old one is released, the new one (when not
    // null) gains a reference; setting the payload already held changes nothing.
    void setData(CObject* pData);

    // "Render", "System", ... from the type; "Unknown" for any other number.
    CString getTypeName() const;
    static CString getTypeName(unsigned int uiType);

    // Looks up the message center's listener once and hands it to
    // deliverTo(); the base message delivers nothing.
    virtual void handleMessage();

    // Queue hooks of the message center, so that it needs no knowledge of
    // the message kinds that merge. Called with the center's lock held.
    // Takes over the content of pNext, pushed right behind this message, and
    // answers true (the center then destroys pNext); false when this kind
    // does not merge.
    virtual bool absorbNext(CBaseMessage* pNext);
    // Drops what this message holds for the timer with that id; true when
    // nothing is left to deliver (the center then destroys the message).
    virtual bool dropTimerEntries(std::uintptr_t uiTimerID);
    // Whether this message would call pListener, a receiver of its own
    // (not the center's listener); false for the base message.
    virtual bool isAddressedTo(const void* pListener) const;

protected:
    explicit CBaseMessage(EMessageType eType, unsigned int uiID = 0, CObject* pData = nullptr);
    CBaseMessage(const CBaseMessage& other) = default;
    CBaseMessage& operator=(const CBaseMessage& other) = default;

    // Calls this message's callback of pListener (null when no listener is
    // set; messages with a listener of their own still call that one).
    virtual void deliverTo(IMessageCenterListener* pListener);

    // The payload pointer itself, for the callbacks (no reference is added).
    CObject* peekData() const { return m_pData.get(); }

private:
    EMessageType m_eType;
    unsigned int m_uiID;
    CObjectPtr<CObject> m_pData;
};

} // namespace Trell

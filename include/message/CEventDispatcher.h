#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObjectPtr.h>
#include <foundation/Export.h>

namespace Trell {

class CObject;
class IEventListener;

// Base of objects that publish events synchronously to IEventListener
// objects. The listener array is reference counted so that a dispatch in
// progress keeps it alive when the dispatcher is destroyed from inside a
// callback. Main thread only; nothing locks.
class ECS_API CEventDispatcher
{
    TRELL_DECLARE_ALLOCATOR(u"CEventDispatcher")

public:
    CEventDispatcher();
    virtual ~CEventDispatcher();

    // Null and listeners already present are ignored.
    void addEventListener(IEventListener* pListener);
    // Removes the first occurrence and the listener's link back to this dispatcher.
    void removeEventListener(IEventListener* pListener);

protected:
    CEventDispatcher(const CEventDispatcher& other);
    CEventDispatcher& operator=(const CEventDispatcher& other);

    // Calls onEvent of every listener that is not blocked, in order. A
    // listener removing itself does not make the next one be skipped; the
    // dispatcher being destroyed ends the dispatch.
    void dispatchEvent(CObject* pSender, unsigned int uiEventID, CObject* pData);
    // Removes the listener from the array only (used by a dying listener).
    void notifyRemoveEventListener(IEventListener* pListener);
    // Cuts every listener's link to this dispatcher and empties the array.
    void notifyEventListenersRemoveDispatcher();

private:
    friend class IEventListener;

    typedef CDataArray<IEventListener*> ListenerArray;

    CObjectPtr<ListenerArray> m_pListeners; // created on the first addEventListener
};

} // namespace Trell

#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CEventDispatcher;
class CObject;

// Receives the events of the dispatchers it was added to. Both sides keep
// links to each other, so either may be destroyed first: a dying listener
// takes itself out of every dispatcher. Main thread only; nothing locks.
class ECS_API IEventListener
{
    TRELL_DECLARE_ALLOCATOR(u"IEventListener")

public:
    IEventListener();
    virtual ~IEventListener();

    // Called synchronously by CEventDispatcher::dispatchEvent. The listener
    // may remove itself, destroy itself or destroy the dispatcher from here.
    virtual void onEvent(CObject* pSender, unsigned int uiEventID, CObject* pData) = 0;

    // A blocked listener stays registered but receives nothing.
    void blockListen() { m_bBlocked = true; }
    void unblockListen() { m_bBlocked = false; }
    bool isBlockListen() const { return m_bBlocked; }

protected:
    IEventListener(const IEventListener& other);
    IEventListener& operator=(const IEventListener& other);

    void addEventDispatcher(CEventDispatcher* pDispatcher);
    void removeEventDispatcher(CEventDispatcher* pDispatcher);
    // Unregisters this listener from every dispatcher it is linked with.
    void notifyEventDispatchersRemoveListener();

private:
    friend class CEventDispatcher;

    bool m_bBlocked;
    CDataArray<CEventDispatcher*> m_aryDispatchers; // not owned
};

} // namespace Trell

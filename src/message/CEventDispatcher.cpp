#include <message/CEventDispatcher.h>

#include <message/IEventListener.h>

#include "message/MessageLog.h"

namespace Trell {

// --- IEventListener ---

IEventListener::IEventListener() : m_bBlocked(false)
{}

IEventListener::IEventListener(const IEventListener& other) : m_bBlocked(other.m_bBlocked)
{
    // A copy is linked with no dispatcher: links are made by addEventListener.
}

IEventListener& IEventListener::operator=(const IEventListener& other)
{
    m_bBlocked = other.m_bBlocked;
    return *this;
}

IEventListener::~IEventListener()
{
    notifyEventDispatchersRemoveListener();
}

void IEventListener::addEventDispatcher(CEventDispatcher* pDispatcher)
{
    m_aryDispatchers.add(pDispatcher);
}

void IEventListener::removeEventDispatcher(CEventDispatcher* pDispatcher)
{
    const int iIndex = m_aryDispatchers.indexOf(pDispatcher);
    if (iIndex >= 0)
        m_aryDispatchers.removeAt(static_cast<unsigned int>(iIndex));
}

void IEventListener::notifyEventDispatchersRemoveListener()
{
    for (unsigned int i = 0; i < m_aryDispatchers.getCount(); ++i)
        m_aryDispatchers[i]->notifyRemoveEventListener(this);
    m_aryDispatchers.clear();
}

// --- CEventDispatcher ---

CEventDispatcher::CEventDispatcher()
{}

CEventDispatcher::CEventDispatcher(const CEventDispatcher&)
{
    // A copy starts without listeners: the listeners link to the original.
}

CEventDispatcher& CEventDispatcher::operator=(const CEventDispatcher&)
{
    return *this;
}

CEventDispatcher::~CEventDispatcher()
{
    notifyEventListenersRemoveDispatcher();
    // Releasing our reference leaves a dispatch in progress the only holder.
    m_pListeners.reset();
}

void CEventDispatcher::addEventListener(IEventListener* pListener)
{
    if (!pListener)
        return;
    if (!m_pListeners) {
        m_pListeners = new ListenerArray();
        if (!m_pListeners)
            return;
    }
    if (m_pListeners->contains(pListener))
        return;
    if (m_pListeners->add(pListener))
        pListener->addEventDispatcher(this);
}

void CEventDispatcher::removeEventListener(IEventListener* pListener)
{
    if (!pListener)
        return;
    notifyRemoveEventListener(pListener);
    pListener->removeEventDispatcher(this);
}

void CEventDispatcher::notifyRemoveEventListener(IEventListener* pListener)
{
    if (!m_pListeners)
        return;
    const int iIndex = m_pListeners->indexOf(pListener);
    if (iIndex >= 0)
        m_pListeners->removeAt(static_cast<unsigned int>(iIndex));
}

void CEventDispatcher::notifyEventListenersRemoveDispatcher()
{
    if (!m_pListeners)
        return;
    ListenerArray& listeners = *m_pListeners;
    for (unsigned int i = 0; i < listeners.getCount(); ++i)
        listeners[i]->removeEventDispatcher(this);
    listeners.clear();
}

void CEventDispatcher::dispatchEvent(CObject* pSender, unsigned int uiEventID, CObject* pData)
{
    if (!m_pListeners)
        return;
    // Our own reference keeps the array alive if `this` dies in a callback;
    // from then on only `listeners` may be touched, never a member.
    CObjectPtr<ListenerArray> listeners(m_pListeners);
    unsigned int uiIndex = 0;
    while (uiIndex < listeners->getCount()) {
        IEventListener* pListener = (*listeners)[uiIndex];
        if (!pListener->isBlockListen())
            pListener->onEvent(pSender, uiEventID, pData);
        if (listeners->getRef() == 1) {
            MessageLog::writeWarning(u"The event dispatcher object has been deleted while dispatching event to outer.");
            break;
        }
        // A listener that removed itself left its successor at this index.
        if (listeners->contains(pListener))
            ++uiIndex;
    }
}

} // namespace Trell

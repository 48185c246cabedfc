#include <message/CIdleCenter.h>

#include <foundation/CSingleton.h>
#include <message/CIdleCenterProxy.h>

namespace Trell {

CIdleCenter* CIdleCenter::s_pInstance = nullptr;

CIdleCenter* CIdleCenter::getInstance()
{
    return CSingleton<CIdleCenter>::getInstance(s_pInstance);
}

void CIdleCenter::deleteInstance()
{
    CSingleton<CIdleCenter>::deleteInstance(s_pInstance);
}

CIdleCenter::CIdleCenter() : CObject()
{}

CIdleCenter::CIdleCenter(const CIdleCenter& other) : CObject(other), m_aryListeners(other.m_aryListeners)
{}

CIdleCenter& CIdleCenter::operator=(const CIdleCenter& other)
{
    if (this != &other) {
        CObject::operator=(other);
        m_aryListeners = other.m_aryListeners;
    }
    return *this;
}

CIdleCenter::~CIdleCenter()
{}

void CIdleCenter::addIdleListener(IIdleListener* pListener)
{
    if (!pListener || m_aryListeners.contains(pListener))
        return;
    m_aryListeners.add(pListener);
}

void CIdleCenter::removeIdleListener(IIdleListener* pListener)
{
    const int iIndex = m_aryListeners.indexOf(pListener);
    if (iIndex >= 0)
        m_aryListeners.removeAt(static_cast<unsigned int>(iIndex));
}

void CIdleCenter::dispatchSystemIdle()
{
    for (unsigned int i = 0; i < m_aryListeners.getCount(); ++i)
        m_aryListeners[i]->onSystemIdle();
}

void CIdleCenterProxy::addIdleListener(IIdleListener* pListener)
{
    CIdleCenter::getInstance()->addIdleListener(pListener);
}

void CIdleCenterProxy::removeIdleListener(IIdleListener* pListener)
{
    CIdleCenter::getInstance()->removeIdleListener(pListener);
}

} // namespace Trell

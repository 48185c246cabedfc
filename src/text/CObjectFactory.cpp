#include <text/CObjectFactory.h>

#include <foundation/CSingleton.h>

namespace Trell {

CObjectFactory* CObjectFactory::s_pInstance = nullptr;

CObjectFactory::CObjectFactory() = default;

// Copies only the registry; the object part starts afresh like any new object.
CObjectFactory::CObjectFactory(const CObjectFactory& other) : CObject(), m_mapCreators(other.m_mapCreators)
{}

CObjectFactory& CObjectFactory::operator=(const CObjectFactory& other)
{
    m_mapCreators = other.m_mapCreators;
    return *this;
}

CObjectFactory::~CObjectFactory() = default;

CObjectFactory* CObjectFactory::getInstance()
{
    return CSingleton<CObjectFactory>::getInstance(s_pInstance);
}

void CObjectFactory::deleteInstance()
{
    CSingleton<CObjectFactory>::deleteInstance(s_pInstance);
}

void CObjectFactory::registerClass(const CString& name, CObject* (*creator)())
{
    if (!creator)
        return;
    // insert refuses an existing name, which keeps the first registration.
    m_mapCreators.insert(name, creator);
}

CObject* CObjectFactory::createObject(const CString& name)
{
    CreateFunction* creator = m_mapCreators.find(name);
    return creator ? (*creator)() : nullptr;
}

bool CObjectFactory::isClassRegistered(const CString& name) const
{
    return m_mapCreators.contains(name);
}

} // namespace Trell

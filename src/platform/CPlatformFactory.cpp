#include <platform/CPlatformFactory.h>

#include <foundation/CSingleton.h>
#include <platform/IPlatformFactory.h>

namespace Trell {

CPlatformFactory* CPlatformFactory::s_pInstance = nullptr;

CPlatformFactory::CPlatformFactory() : m_pFactory(nullptr)
{}

CPlatformFactory::CPlatformFactory(const CPlatformFactory& other) : m_pFactory(other.m_pFactory)
{}

CPlatformFactory& CPlatformFactory::operator=(const CPlatformFactory& other)
{
    m_pFactory = other.m_pFactory;
    return *this;
}

CPlatformFactory::~CPlatformFactory()
{
    // The registered factory belongs to the host.
    m_pFactory = nullptr;
}

CPlatformFactory* CPlatformFactory::getInstance()
{
    return CSingleton<CPlatformFactory>::getInstance(s_pInstance);
}

void CPlatformFactory::deleteInstance()
{
    CSingleton<CPlatformFactory>::deleteInstance(s_pInstance);
}

void CPlatformFactory::registerFactory(IPlatformFactory* pFactory)
{
    m_pFactory = pFactory;
}

ISurface* CPlatformFactory::createSurface(CSurface* pSurface)
{
    return m_pFactory ? m_pFactory->createSurface(pSurface) : nullptr;
}

} // namespace Trell

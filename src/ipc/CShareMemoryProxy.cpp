#include <ipc/CShareMemoryProxy.h>

#include <ipc/CShareMemory.h>

namespace Trell {

CShareMemoryProxy::CShareMemoryProxy() : CObject(), m_pShareMemory(new CShareMemory())
{}

CShareMemoryProxy::~CShareMemoryProxy()
{
    if (m_pShareMemory)
        m_pShareMemory->close();
    delete m_pShareMemory;
    m_pShareMemory = nullptr;
}

void CShareMemoryProxy::setListener(IShareMemoryListener* pListener)
{
    if (m_pShareMemory)
        m_pShareMemory->setListener(pListener);
}

bool CShareMemoryProxy::open(unsigned int uiKey, bool bWriter, unsigned int uiSize)
{
    return m_pShareMemory &&
           m_pShareMemory->open(uiKey, bWriter ? CShareMemory::MODE_TYPE_WRITER : CShareMemory::MODE_TYPE_READER,
                                uiSize);
}

void CShareMemoryProxy::close()
{
    if (m_pShareMemory)
        m_pShareMemory->close();
}

bool CShareMemoryProxy::isEmpty() const
{
    return !m_pShareMemory || m_pShareMemory->isEmpty();
}

unsigned int CShareMemoryProxy::getSize() const
{
    return m_pShareMemory ? m_pShareMemory->getSize() : 0;
}

bool CShareMemoryProxy::writeData(const unsigned char* pData, unsigned int uiLength)
{
    return m_pShareMemory && m_pShareMemory->writeData(pData, uiLength);
}

bool CShareMemoryProxy::readData(unsigned char* pBuffer, unsigned int uiLength)
{
    return m_pShareMemory && m_pShareMemory->readData(pBuffer, uiLength);
}

} // namespace Trell

#include <platform/CSyncObject.h>

#include <platform/PlatformImp.h>

namespace Trell {

CSyncObject::CSyncObject() : m_pSyncObject(PlatformImp::createSyncObject())
{}

// Copies get a lock of their own; a lock is never shared by copying.
CSyncObject::CSyncObject(const CSyncObject& other) : CObject(other), m_pSyncObject(PlatformImp::createSyncObject())
{}

CSyncObject& CSyncObject::operator=(const CSyncObject&)
{
    return *this;
}

CSyncObject::~CSyncObject()
{
    delete m_pSyncObject;
    m_pSyncObject = nullptr;
}

} // namespace Trell

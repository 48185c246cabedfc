#include <platform/CWaitObject.h>

#include <platform/IWaitObject.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

namespace Trell {

CWaitObject::CWaitObject(const CString& strName) : m_pWaitObject(PlatformImp::createWaitObject(strName))
{}

// Copies get an unnamed event of their own.
CWaitObject::CWaitObject(const CWaitObject& other)
    : CObject(other), m_pWaitObject(PlatformImp::createWaitObject(CString()))
{}

CWaitObject& CWaitObject::operator=(const CWaitObject&)
{
    return *this;
}

CWaitObject::~CWaitObject()
{
    delete m_pWaitObject;
    m_pWaitObject = nullptr;
}

void CWaitObject::reset()
{
    m_pWaitObject->reset();
}

void CWaitObject::wait(unsigned int uiMilliseconds)
{
    m_pWaitObject->wait(uiMilliseconds);
}

void CWaitObject::forceWait(unsigned int uiMilliseconds)
{
    m_pWaitObject->forceWait(uiMilliseconds);
}

void CWaitObject::notify()
{
    m_pWaitObject->notify();
}

} // namespace Trell

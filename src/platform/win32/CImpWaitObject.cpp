#include <platform/win32/CImpWaitObject.h>

#include <platform/PlatformLog.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>

namespace Trell {

CImpWaitObject::CImpWaitObject(const CString& strName)
    : m_hEvent(CreateEventW(nullptr, TRUE, FALSE, strName.length() ? WideText::toWide(strName) : nullptr))
{
    if (!m_hEvent && strName.length()) {
        // A name taken by another kind of object: still an event, if only
        // within this process.
        PlatformLog::logWarning(u"A named event could not be shared; it stays local to this process.");
        m_hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    }
}

CImpWaitObject::~CImpWaitObject()
{
    if (m_hEvent)
        CloseHandle(m_hEvent);
}

void CImpWaitObject::reset()
{
    ResetEvent(m_hEvent);
}

void CImpWaitObject::wait(unsigned int uiMilliseconds)
{
    // 0 waits without limit here; forceWait polls with it.
    WaitForSingleObject(m_hEvent, uiMilliseconds == 0 ? INFINITE : uiMilliseconds);
    ResetEvent(m_hEvent);
}

void CImpWaitObject::forceWait(unsigned int uiMilliseconds)
{
    WaitForSingleObject(m_hEvent, uiMilliseconds);
    ResetEvent(m_hEvent);
}

void CImpWaitObject::notify()
{
    SetEvent(m_hEvent);
}

} // namespace Trell

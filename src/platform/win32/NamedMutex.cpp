#include <platform/win32/NamedMutex.h>

#include <platform/PlatformLog.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>

#include <windows.h>

namespace Trell {

bool CNamedMutex::open(const CString& strName)
{
    close();
    // No security attributes: the handle is not inherited by children.
    m_hMutex = CreateMutexW(nullptr, FALSE, WideText::toWide(strName));
    if (!m_hMutex)
        return false;
    m_strName.assign(strName.buffer(), strName.length());
    return true;
}

void CNamedMutex::close()
{
    if (m_hMutex)
        CloseHandle(m_hMutex);
    m_hMutex = nullptr;
}

CNamedMutex::ELock CNamedMutex::lock(unsigned int uiMilliseconds)
{
    if (!m_hMutex)
        return LOCK_FAILED;
    switch (WaitForSingleObject(m_hMutex, uiMilliseconds)) {
    case WAIT_OBJECT_0: return LOCK_TAKEN;
    case WAIT_ABANDONED: {
        const std::u16string strLine = u"Named mutex " + m_strName + u" was abandoned by its owner; taken over.";
        PlatformLog::logWarning(strLine.c_str());
        return LOCK_ABANDONED;
    }
    case WAIT_TIMEOUT: return LOCK_TIMEOUT;
    default: return LOCK_FAILED;
    }
}

bool CNamedMutex::unlock()
{
    return m_hMutex && ReleaseMutex(m_hMutex);
}

} // namespace Trell

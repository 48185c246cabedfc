#include <platform/PlatformLog.h>

#include <system/CLog.h>
#include <system/CLogEngine.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

namespace Trell {
namespace PlatformLog {

namespace {

void logThread(unsigned int uiThreadID, const CString& strName, const char16_t* pszFormat)
{
    // The switch is tested first so that a silenced log costs no formatting.
    if (!CLog::isInfoEnabled())
        return;
    const char16_t* pszName = strName.buffer() ? strName.buffer() : u"";
    CLogEngine::info(CStringConverter::format(pszFormat, static_cast<long>(uiThreadID), pszName));
}

} // namespace

void logThreadStarted(unsigned int uiThreadID, const CString& strName)
{
    logThread(uiThreadID, strName, u"Thread (ID: %ld, Name: %ls) starts.");
}

void logThreadExited(unsigned int uiThreadID, const CString& strName)
{
    logThread(uiThreadID, strName, u"Thread (ID: %ld, Name: %ls) exits.");
}

void logWarning(const char16_t* pszText)
{
    CLogEngine::warning2(pszText);
}

} // namespace PlatformLog
} // namespace Trell

#include "platform/PlatformLog.h"

#include <text/CString.h>
#include <text/CStringConverter.h>
#include "foundation/EngineLog.h"

namespace Trell {
namespace PlatformLog {

namespace {

void logThread(unsigned int uiThreadID, const CString& strName, const char16_t* pszFormat)
{
    const EngineLog::tagSink* pSink = EngineLog::getSink();
    if (pSink == nullptr || !pSink->isInfoEnabled())
        return;
    const char16_t* pszName = strName.buffer() ? strName.buffer() : u"";
    const CString strLine = CStringConverter::format(pszFormat, static_cast<long>(uiThreadID), pszName);
    pSink->info(strLine.buffer());
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
    EngineLog::warning(pszText);
}

} // namespace PlatformLog
} // namespace Trell

#include "platform/PlatformLog.h"

#include <text/CString.h>
#include <text/CStringConverter.h>

#include <atomic>

namespace Trell {
namespace PlatformLog {

namespace {

// Constant-initialised: valid before any constructor of the library runs.
std::atomic<const tagSink*> g_pSink{nullptr};

void logThread(unsigned int uiThreadID, const CString& strName, const char16_t* pszFormat)
{
    const tagSink* pSink = g_pSink.load(std::memory_order_acquire);
    if (pSink == nullptr || !pSink->isInfoEnabled())
        return;
    const char16_t* pszName = strName.buffer() ? strName.buffer() : u"";
    const CString strLine = CStringConverter::format(pszFormat, static_cast<long>(uiThreadID), pszName);
    pSink->info(strLine.buffer());
}

} // namespace

void setSink(const tagSink* pSink)
{
    g_pSink.store(pSink, std::memory_order_release);
}

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
    if (const tagSink* pSink = g_pSink.load(std::memory_order_acquire))
        pSink->warning(pszText);
}

} // namespace PlatformLog
} // namespace Trell

#include "message/MessageLog.h"

#include <system/CLogEngine.h>

#include <atomic>

namespace Trell {
namespace MessageLog {

namespace {

std::atomic<PFN_WARNING_SINK> s_pfnSink{nullptr};

} // namespace

void writeWarning(const char16_t* pText)
{
    if (PFN_WARNING_SINK pfnSink = s_pfnSink.load())
        pfnSink(pText);
    CLogEngine::warning2(pText);
}

void setWarningSink(PFN_WARNING_SINK pfnSink)
{
    s_pfnSink.store(pfnSink);
}

} // namespace MessageLog
} // namespace Trell

#include "foundation/EngineLog.h"

#include <atomic>

namespace Trell {
namespace EngineLog {

namespace {

// Constant-initialised: valid before any constructor of the library runs.
std::atomic<const tagSink*> g_pSink{nullptr};

} // namespace

void setSink(const tagSink* pSink)
{
    g_pSink.store(pSink, std::memory_order_release);
}

const tagSink* getSink()
{
    return g_pSink.load(std::memory_order_acquire);
}

void warning(const char16_t* pszText)
{
    if (const tagSink* pSink = getSink())
        pSink->warning(pszText);
}

void error(const char16_t* pszText)
{
    if (const tagSink* pSink = getSink())
        pSink->error(pszText);
}

} // namespace EngineLog
} // namespace Trell

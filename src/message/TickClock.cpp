#include "message/TickClock.h"

#include <system/CTime.h>

#include <atomic>

namespace Trell {
namespace TickClock {

namespace {
std::atomic<PFN_TICK_SOURCE> s_pfnSource{nullptr};
std::atomic<bool> s_bBaseTaken{false};
std::atomic<unsigned int> s_uiBase{0};
} // namespace

unsigned int now()
{
    const PFN_TICK_SOURCE pfnSource = s_pfnSource.load(std::memory_order_relaxed);
    return pfnSource ? pfnSource() : CTime::getTickCount();
}

void setSource(PFN_TICK_SOURCE pfnSource)
{
    s_pfnSource.store(pfnSource);
    s_bBaseTaken.store(false);
}

unsigned int peekSchedulingTime(unsigned int uiTick)
{
    if (!s_bBaseTaken.load(std::memory_order_relaxed))
        return 0;
    return uiTick - s_uiBase.load(std::memory_order_relaxed);
}

void commitSchedulingBase(unsigned int uiTick)
{
    if (s_bBaseTaken.load(std::memory_order_relaxed))
        return;
    s_uiBase.store(uiTick, std::memory_order_relaxed);
    s_bBaseTaken.store(true, std::memory_order_relaxed);
}

} // namespace TickClock
} // namespace Trell

#include "message/MessageClock.h"

#include <system/CTime.h>

#include <atomic>

namespace Trell {
namespace MessageClock {

namespace {

unsigned int systemTick()
{
    return CTime::getTickCount();
}

std::atomic<PFN_TICK_SOURCE> s_pfnSource{&systemTick};
std::atomic<bool> s_bBaseTaken{false};
std::atomic<unsigned int> s_uiBase{0};

} // namespace

unsigned int readTick()
{
    return s_pfnSource.load(std::memory_order_relaxed)();
}

unsigned int peekSinceBase(unsigned int uiTick)
{
    if (!s_bBaseTaken.load(std::memory_order_relaxed))
        return 0;
    return uiTick - s_uiBase.load(std::memory_order_relaxed);
}

void commitBase(unsigned int uiTick)
{
    if (s_bBaseTaken.load(std::memory_order_relaxed))
        return;
    s_uiBase.store(uiTick, std::memory_order_relaxed);
    s_bBaseTaken.store(true, std::memory_order_relaxed);
}

void setTickSource(PFN_TICK_SOURCE pfnSource)
{
    s_pfnSource.store(pfnSource ? pfnSource : &systemTick);
    s_bBaseTaken.store(false);
}

} // namespace MessageClock
} // namespace Trell

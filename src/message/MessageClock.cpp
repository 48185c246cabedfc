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

unsigned int now()
{
    const unsigned int uiTick = s_pfnSource.load()();
    if (!s_bBaseTaken.load()) {
        s_uiBase.store(uiTick);
        s_bBaseTaken.store(true);
        return 0;
    }
    return uiTick - s_uiBase.load();
}

void setTickSource(PFN_TICK_SOURCE pfnSource)
{
    s_pfnSource.store(pfnSource ? pfnSource : &systemTick);
    s_bBaseTaken.store(false);
}

} // namespace MessageClock
} // namespace Trell

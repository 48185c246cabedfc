#include <timer/TimerClock.h>

#include <system/CTime.h>

#include <atomic>

namespace Trell {
namespace TimerClock {

namespace {
std::atomic<unsigned int (*)()> s_pfnSource{nullptr};
} // namespace

unsigned int now()
{
    unsigned int (*pfnSource)() = s_pfnSource.load();
    return pfnSource ? pfnSource() : CTime::getTickCount();
}

void setSource(unsigned int (*pfnSource)())
{
    s_pfnSource.store(pfnSource);
}

} // namespace TimerClock
} // namespace Trell

#pragma once

// The clock of the timers: milliseconds on the library's common tick base.
// Tests may install their own source to drive schedules without waiting;
// exported for the test programs only, not part of the public headers.

#include <foundation/Export.h>

namespace Trell {
namespace TimerClock {

// Milliseconds since the common tick base (CTime::getTickCount), or the
// installed source's value.
ECS_API unsigned int now();

// Replaces the clock; null restores the tick clock. The source is called on
// the main thread and on the timer thread, so it must be thread-safe.
ECS_API void setSource(unsigned int (*pfnSource)());

} // namespace TimerClock
} // namespace Trell

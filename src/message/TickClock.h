#pragma once

// The millisecond clock of the message center's scheduling and of the
// timers: the library's common tick base (CTime::getTickCount), unless a
// test program installs its own source to drive time without waiting.
// Internal; exported for the test programs only.

#include <foundation/Export.h>

namespace Trell {
namespace TickClock {

typedef unsigned int (*PFN_TICK_SOURCE)();

// Milliseconds on the common tick base, or the installed source's value.
// Any thread.
ECS_API unsigned int now();

// Replaces the source (null restores the common tick base) and forgets the
// message center's scheduling base, so that the next weighted pop takes it
// again. The source is read by the consumer, the timer thread and the main
// thread, so it must be thread-safe.
ECS_API void setSource(PFN_TICK_SOURCE pfnSource);

// The message center's scheduling time: milliseconds since a process-wide
// base that the first weighted pop takes. Consumer thread only.
// Milliseconds from the base to uiTick; 0 while no base is taken (uiTick
// would become the base).
unsigned int peekSchedulingTime(unsigned int uiTick);
// Takes uiTick as the base unless one is taken.
void commitSchedulingBase(unsigned int uiTick);

} // namespace TickClock
} // namespace Trell

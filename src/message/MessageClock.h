#pragma once

#include <foundation/Export.h>

namespace Trell {

// The message center's scheduling clock: milliseconds since a process-wide
// base taken at the first weighted pop. Only the consumer thread uses it.
// Internal; the tick source can be replaced so that tests control time.
namespace MessageClock {

typedef unsigned int (*PFN_TICK_SOURCE)();

// The raw millisecond tick.
unsigned int readTick();
// Milliseconds from the base to uiTick; 0 while no base is taken (uiTick
// would become the base).
unsigned int peekSinceBase(unsigned int uiTick);
// Takes uiTick as the base unless a base is already taken.
void commitBase(unsigned int uiTick);

// Replaces the raw tick source (null restores the system's millisecond
// tick) and forgets the base, so the next weighted pop takes it again.
ECS_API void setTickSource(PFN_TICK_SOURCE pfnSource);

} // namespace MessageClock
} // namespace Trell

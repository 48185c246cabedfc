#pragma once

#include <foundation/Export.h>

namespace Trell {

// The message center's scheduling clock: milliseconds since a process-wide
// base taken at the first weighted pop. Only the consumer thread reads it.
// Internal; the tick source can be replaced so that tests control time.
namespace MessageClock {

typedef unsigned int (*PFN_TICK_SOURCE)();

// Milliseconds since the base; the first call takes the base and gives 0.
unsigned int now();

// Replaces the raw tick source (null restores the system's millisecond
// tick) and forgets the base, so the next now() takes it again.
ECS_API void setTickSource(PFN_TICK_SOURCE pfnSource);

} // namespace MessageClock
} // namespace Trell

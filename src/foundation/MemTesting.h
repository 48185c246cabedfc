#pragma once

// Test-only hooks of the memory manager. Exported so that the test programs,
// which link the shared library like any user, can reach them; not part of
// the public headers and not meant for anything but tests.

#include <foundation/Export.h>

namespace Trell {
namespace MemTesting {

// Makes the system heap, as the allocator uses it for pool chunks and large
// blocks, fail: the next `count` requests succeed, then `failures` requests
// yield null (a negative number: every later one), then it works again.
// A negative count disarms the hook (the default).
ECS_API void failSystemHeapAfter(int count, int failures = -1);

// Number of system-heap requests refused by the hook since the last call of
// failSystemHeapAfter.
ECS_API unsigned int getRefusedSystemHeapRequests();

} // namespace MemTesting
} // namespace Trell

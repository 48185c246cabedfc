#pragma once

// Test-only hooks of the memory manager. Exported so that the test programs,
// which link the shared library like any user, can reach them; not part of
// the public headers and not meant for anything but tests.

#include <foundation/Export.h>

namespace Trell {

class CMemAllocator;

namespace MemTesting {

// Makes the system heap, as the allocator uses it for pool chunks and large
// blocks, fail: the next `count` requests succeed, then `failures` requests
// yield null (a negative number: every later one), then it works again.
// A negative count disarms the hook (the default).
ECS_API void failSystemHeapAfter(int count, int failures = -1);

// Number of system-heap requests refused by the hook since the last call of
// failSystemHeapAfter.
ECS_API unsigned int getRefusedSystemHeapRequests();

// Puts per-thread caches in front of a stand-alone allocator's pools, as the
// manager does for its own (nothing happens under Valgrind).
ECS_API void enableThreadCache(CMemAllocator& allocator);
// Free slots of the class held by the calling thread's cache for
// `allocator` (0 when the thread's cache serves another allocator).
ECS_API unsigned int getThreadCacheCount(const CMemAllocator& allocator, unsigned int classIndex);
// Most slots of the class a thread's cache holds before it flushes them.
ECS_API unsigned int getThreadCacheLimit(const CMemAllocator& allocator, unsigned int classIndex);
// Gives every slot of the calling thread's cache back to its allocator.
ECS_API void flushThreadCache();

} // namespace MemTesting
} // namespace Trell

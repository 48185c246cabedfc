#pragma once

// Failure injection and inspection for the memory manager's tests. Built
// only with the ECS_MEMORY_TESTING option (the test presets turn it on), so
// a shipped library exports none of it; not an installed header.

#include <foundation/Export.h>

#if !defined(ECS_MEMORY_TESTING)
#error "the memory test hooks need a library built with ECS_MEMORY_TESTING"
#endif

namespace Trell {

class CMemAllocator;

namespace MemTesting {

// Makes the system heap, as the allocator uses it for pool chunks and large
// blocks, fail: the next `count` requests succeed, then `failures` requests
// yield null (a negative number: every later one), then it works again.
// A negative count disarms the hook (the default).
ECS_API void failSystemHeapAfter(int count, int failures = -1);
// System-heap requests refused since the last failSystemHeapAfter.
ECS_API unsigned int getRefusedSystemHeapRequests();
// Called on the requesting thread before every system-heap request of the
// allocator (null: none), to see what the allocator holds meanwhile.
ECS_API void setSystemHeapObserver(void (*observer)());

// The same budget for every request that reaches the manager, of any kind
// (pooled, large, checked): the next `count` succeed, then `failures` are
// refused as if no memory were left (the listener's retry is a request of
// its own). While armed (count >= 0) the thread caches are bypassed and
// every request and free through CMemory is counted; a negative count
// disarms the hook and stops counting.
ECS_API void failAllocationsAfter(int count, int failures = -1);
// Grants every further request but keeps counting, so that a test can
// inspect what it made (which allocates) before it frees it.
ECS_API void stopRefusingAllocations();
// Requests refused since the last failAllocationsAfter.
ECS_API unsigned int getRefusedAllocations();
// Blocks handed out minus non-null blocks freed through CMemory since the
// hook was armed: 0 when what was made meanwhile was also freed.
ECS_API long long getAllocationBalance();

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

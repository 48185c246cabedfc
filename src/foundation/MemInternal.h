#pragma once

// Internals shared by the memory manager's translation units: the active
// flag, the system heap with its test hooks, and the hooks
// that tell AddressSanitizer and Valgrind which pool slots are live.
// Nothing here is exported.

#include <foundation/CMemory.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#if defined(__SANITIZE_ADDRESS__)
#define ECS_MEM_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ECS_MEM_ASAN 1
#endif
#endif
#if defined(ECS_MEM_ASAN)
#include <sanitizer/asan_interface.h>
#define ECS_MEM_NO_ASAN __attribute__((no_sanitize_address))
#else
#define ECS_MEM_NO_ASAN
#endif

#if defined(__has_include)
#if __has_include(<valgrind/valgrind.h>) && __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#include <valgrind/valgrind.h>
#define ECS_MEM_VALGRIND 1
#endif
#endif

namespace Trell {

class CMemAllocator;
class CMemManager;

namespace MemInternal {

// Set as the last step of the manager's construction and cleared before its
// members are torn down; while clear, CMemory forwards to the system heap.
// Relaxed loads suffice: the flag only changes while the library loads and
// unloads, when no other thread of the library runs.
extern std::atomic<bool> g_bActive;
extern CMemManager* g_pManager;
// The manager's allocator while CMemory may use it directly: the manager is
// active, has no checker and the process does not run under Valgrind (whose
// client requests live on the full path only). Null otherwise.
extern std::atomic<CMemAllocator*> g_pFastAllocator;

inline bool isActive() noexcept
{
    return g_bActive.load(std::memory_order_relaxed);
}

// Whether the build switched checking mode on (see memory.cmake).
#if defined(ECS_MEMORY_CHECKING) && ECS_MEMORY_CHECKING
constexpr bool CHECKING_MODE = true;
#else
constexpr bool CHECKING_MODE = false;
#endif

// The system heap as the allocator and checker use it for chunks and large
// blocks; in builds with the test hooks it fails on purpose once the
// system-heap budget is spent.
void* systemMalloc(std::size_t size) noexcept;
void systemFree(void* p) noexcept;

#if defined(ECS_MEMORY_TESTING)
// Test hooks (see MemTesting.h). While armed, CMemory bypasses the thread
// caches and sends every request through the manager, which asks
// refuseAllocation() first, and every request and free is counted.
extern std::atomic<bool> g_bHookArmed;
bool refuseSystemHeap() noexcept;
bool refuseAllocation() noexcept;
void* hookedMalloc(unsigned int size, unsigned int classId) noexcept;
void hookedFree(void* p) noexcept;
#endif

#if defined(ECS_MEM_VALGRIND)
// Whether the process runs under Valgrind, asked once when the allocator is
// built. The client requests live out of line so that the hot path pays one
// predictable branch for them outside Valgrind.
extern bool g_bUnderValgrind;
void valgrindNoAccess(const void* p, std::size_t size) noexcept;
void valgrindUndefined(const void* p, std::size_t size) noexcept;
void valgrindMallocLike(const void* p, std::size_t size) noexcept;
void valgrindFreeLike(const void* p) noexcept;
void valgrindReadUnchecked(const void* from, void* to, std::size_t size) noexcept;
#endif

// Copies `size` bytes that may not belong to us: the header in front of a
// pointer handed to free (foreign, or a block freed before) and the words of
// a possibly corrupted checker list. Judging those bytes is how bad frees are
// caught, so neither AddressSanitizer nor Valgrind is to complain about the
// read itself; under Valgrind the copy is also marked defined.
ECS_MEM_NO_ASAN inline void readUnchecked(const void* from, void* to, std::size_t size) noexcept
{
#if defined(ECS_MEM_VALGRIND)
    if (__builtin_expect(g_bUnderValgrind, 0)) {
        valgrindReadUnchecked(from, to, size);
        return;
    }
#endif
    const volatile unsigned char* source = static_cast<const volatile unsigned char*>(from);
    unsigned char* target = static_cast<unsigned char*>(to);
    for (std::size_t i = 0; i < size; ++i)
        target[i] = source[i];
}

// Pool slots are carved from chunks the system heap gave us, so the
// sanitizers cannot see them on their own: freed and never-used slots are
// made inaccessible and live ones accessible again.
inline void poisonRegion(const void* p, std::size_t size) noexcept
{
#if defined(ECS_MEM_ASAN)
    ASAN_POISON_MEMORY_REGION(p, size);
#endif
#if defined(ECS_MEM_VALGRIND)
    if (__builtin_expect(g_bUnderValgrind, 0))
        valgrindNoAccess(p, size);
#endif
    (void)p;
    (void)size;
}

inline void unpoisonRegion(const void* p, std::size_t size) noexcept
{
#if defined(ECS_MEM_ASAN)
    ASAN_UNPOISON_MEMORY_REGION(p, size);
#endif
#if defined(ECS_MEM_VALGRIND)
    if (__builtin_expect(g_bUnderValgrind, 0))
        valgrindUndefined(p, size);
#endif
    (void)p;
    (void)size;
}

// A pooled block handed out / taken back: announced to Valgrind as a heap
// block, so that its leak and use-after-free checks cover pool slots too.
inline void announceBlock(const void* p, std::size_t size) noexcept
{
#if defined(ECS_MEM_ASAN)
    ASAN_UNPOISON_MEMORY_REGION(p, size);
#endif
#if defined(ECS_MEM_VALGRIND)
    if (__builtin_expect(g_bUnderValgrind, 0))
        valgrindMallocLike(p, size);
#endif
    (void)p;
    (void)size;
}

inline void retireBlock(const void* p, std::size_t size) noexcept
{
#if defined(ECS_MEM_ASAN)
    ASAN_POISON_MEMORY_REGION(p, size);
#endif
#if defined(ECS_MEM_VALGRIND)
    if (__builtin_expect(g_bUnderValgrind, 0))
        valgrindFreeLike(p);
#endif
    (void)p;
    (void)size;
}

} // namespace MemInternal
} // namespace Trell

#include <foundation/CMemory.h>

#include <foundation/CMemManager.h>

#include "MemAllocator.h"
#include "MemInternal.h"

#include <climits>
#include <cstdlib>

namespace Trell {

CMemory::CMemory() = default;
CMemory::CMemory(const CMemory&) = default;
CMemory::~CMemory() = default;

namespace {

// Out of line, so that the direct paths below stay leaf functions that need
// no stack frame: a miss in the thread's cache (refill or flush under one
// lock), then the manager's full path.
__attribute__((noinline)) void* mallocMiss(unsigned int size, unsigned int classId)
{
    if (CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed)) {
        if (void* p = MemInternal::CThreadCache::take(*allocator, size))
            return p;
    }
    if (!MemInternal::isActive())
        return std::malloc(size);
    return MemInternal::g_pManager->malloc(size, classId);
}

__attribute__((noinline)) void freeMiss(void* p)
{
    if (CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed)) {
        if (MemInternal::CThreadCache::put(*allocator, p))
            return;
    }
    if (MemInternal::isActive())
        MemInternal::g_pManager->free(p);
    else
        std::free(p);
}

} // namespace

// Without a checker the common case (a slot in the calling thread's cache)
// is handled right here without a lock; refills and flushes cost one lock
// per batch, and everything else takes the manager's full path.
void* CMemory::malloc(unsigned int size, unsigned int classId)
{
#if defined(ECS_MEMORY_TESTING)
    if (__builtin_expect(MemInternal::g_bHookArmed.load(std::memory_order_relaxed), 0))
        return MemInternal::hookedMalloc(size, classId);
#endif
    if (CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed)) {
        if (void* p = allocator->popCached(size))
            return p;
    }
    return mallocMiss(size, classId);
}

void CMemory::free(void* p)
{
#if defined(ECS_MEMORY_TESTING)
    if (__builtin_expect(MemInternal::g_bHookArmed.load(std::memory_order_relaxed), 0)) {
        MemInternal::hookedFree(p);
        return;
    }
#endif
    CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed);
    if (!allocator || !allocator->pushCached(p))
        freeMiss(p);
}

unsigned int CMemory::registClassName(const char16_t* name)
{
    if (!MemInternal::CHECKING_MODE || !MemInternal::isActive())
        return 0;
    return MemInternal::g_pManager->registClassName(name);
}

void* CMemory::classMalloc(std::size_t size, std::atomic<unsigned int>& classId, const char16_t* name) noexcept
{
    if (size > UINT_MAX)
        return nullptr;
    unsigned int id = classId.load(std::memory_order_relaxed);
    if (id == 0 && MemInternal::CHECKING_MODE) {
        id = registClassName(name);
        classId.store(id, std::memory_order_relaxed);
    }
    return malloc(static_cast<unsigned int>(size), id);
}

namespace MemInternal {

void* systemMalloc(std::size_t size) noexcept
{
#if defined(ECS_MEMORY_TESTING)
    if (refuseSystemHeap())
        return nullptr;
#endif
    return std::malloc(size);
}

void systemFree(void* p) noexcept
{
    std::free(p);
}

} // namespace MemInternal

} // namespace Trell

#include "MemTesting.h"

#include <foundation/CMemManager.h>

#include "MemInternal.h"
#include "MemThreadCache.h"

#include <atomic>
#include <cstdlib>

namespace Trell {
namespace MemInternal {

namespace {

// Requests still to grant before refusing (negative: the budget is off) and
// refusals still to make (negative: unlimited). Tests arm a budget from one
// thread; relaxed loads and stores are enough for them.
struct tagFailureBudget
{
    TRELL_DECLARE_ALLOCATOR(u"MemInternal::tagFailureBudget")

    std::atomic<int> iGrants{-1};
    std::atomic<int> iRefusals{-1};
    std::atomic<unsigned int> uiRefused{0};

    void arm(int count, int failures) noexcept
    {
        uiRefused.store(0, std::memory_order_relaxed);
        iRefusals.store(failures < 0 ? -1 : failures, std::memory_order_relaxed);
        iGrants.store(count < 0 ? -1 : count, std::memory_order_relaxed);
    }

    bool refuse() noexcept
    {
        const int grants = iGrants.load(std::memory_order_relaxed);
        if (grants < 0)
            return false;
        if (grants > 0) {
            iGrants.store(grants - 1, std::memory_order_relaxed);
            return false;
        }
        const int refusals = iRefusals.load(std::memory_order_relaxed);
        if (refusals == 0) {
            iGrants.store(-1, std::memory_order_relaxed);
            return false;
        }
        if (refusals > 0)
            iRefusals.store(refusals - 1, std::memory_order_relaxed);
        uiRefused.fetch_add(1, std::memory_order_relaxed);
        return true;
    }
};

tagFailureBudget g_systemHeapBudget;
tagFailureBudget g_allocationBudget;
std::atomic<long long> g_llBalance{0};

} // namespace

std::atomic<bool> g_bHookArmed{false};

std::atomic<void (*)()> g_pSystemHeapObserver{nullptr};

bool refuseSystemHeap() noexcept
{
    if (void (*observer)() = g_pSystemHeapObserver.load(std::memory_order_relaxed))
        observer();
    return g_systemHeapBudget.refuse();
}

bool refuseAllocation() noexcept
{
    return g_allocationBudget.refuse();
}

void* hookedMalloc(unsigned int size, unsigned int classId) noexcept
{
    void* p = isActive() ? g_pManager->malloc(size, classId) : std::malloc(size);
    if (p)
        g_llBalance.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void hookedFree(void* p) noexcept
{
    if (!p)
        return;
    g_llBalance.fetch_sub(1, std::memory_order_relaxed);
    if (isActive())
        g_pManager->free(p);
    else
        std::free(p);
}

} // namespace MemInternal

namespace MemTesting {

void failSystemHeapAfter(int count, int failures)
{
    MemInternal::g_systemHeapBudget.arm(count, failures);
}

void setSystemHeapObserver(void (*observer)())
{
    MemInternal::g_pSystemHeapObserver.store(observer, std::memory_order_relaxed);
}

unsigned int getRefusedSystemHeapRequests()
{
    return MemInternal::g_systemHeapBudget.uiRefused.load(std::memory_order_relaxed);
}

void failAllocationsAfter(int count, int failures)
{
    MemInternal::g_bHookArmed.store(false, std::memory_order_relaxed);
    MemInternal::g_allocationBudget.arm(count, failures);
    MemInternal::g_llBalance.store(0, std::memory_order_relaxed);
    MemInternal::g_bHookArmed.store(count >= 0, std::memory_order_relaxed);
}

void stopRefusingAllocations()
{
    MemInternal::g_allocationBudget.iGrants.store(-1, std::memory_order_relaxed);
}

unsigned int getRefusedAllocations()
{
    return MemInternal::g_allocationBudget.uiRefused.load(std::memory_order_relaxed);
}

long long getAllocationBalance()
{
    return MemInternal::g_llBalance.load(std::memory_order_relaxed);
}

void enableThreadCache(CMemAllocator& allocator)
{
    MemInternal::CThreadCache::enable(allocator);
}

unsigned int getThreadCacheCount(const CMemAllocator& allocator, unsigned int classIndex)
{
    return MemInternal::CThreadCache::cachedCount(allocator, classIndex);
}

unsigned int getThreadCacheLimit(const CMemAllocator& allocator, unsigned int classIndex)
{
    const unsigned int stride = allocator.getStride(classIndex);
    return stride ? MemInternal::CThreadCache::limitFor(stride) : 0;
}

void flushThreadCache()
{
    MemInternal::CThreadCache::flushCurrent();
}

} // namespace MemTesting
} // namespace Trell

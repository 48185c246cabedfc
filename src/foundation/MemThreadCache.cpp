#include "MemThreadCache.h"

#include "MemAllocator.h"
#include "MemInternal.h"
#include "MemSpinLock.h"

#include <cstdlib>
#include <new>

namespace Trell {
namespace MemInternal {

__thread CThreadCache* t_pThreadCache ECS_MEM_TLS_MODEL = nullptr;

namespace {

// Stands for "no cache on this thread": never bound, so every request that
// finds it takes the locked path. Constant-initialised and never written.
CThreadCache s_noCache;

// Every cache made so far and not yet given back, so that an allocator
// releasing its pools can unbind them. Lock order: registry, then a class.
CMemSpinLock s_registryLock;
CThreadCache* s_pFirstCache = nullptr;

// Hands the thread's cache back when the thread exits. Armed when the cache
// is made, which registers the destructor with the C++ runtime; threads that
// never reach the pools pay nothing. The flag is only written, to construct
// the hook: with emulated thread-locals it is already freed when the
// destructor runs.
struct tagExitHook
{
    TRELL_DECLARE_ALLOCATOR(u"tagExitHook")

    bool bArmed = false;
    ~tagExitHook() { CThreadCache::releaseCurrent(); }
};
thread_local tagExitHook t_exitHook;

#if defined(ECS_MEM_TLS_EMULATED)
// The calling thread's registered cache, for when its thread-locals were
// freed under it. Registry lock held.
CThreadCache* ownCacheLocked()
{
    const std::thread::id self = std::this_thread::get_id();
    for (CThreadCache* cache = s_pFirstCache; cache; cache = cache->m_pNext) {
        if (cache->isOwnedBy(self))
            return cache;
    }
    return nullptr;
}
#endif

inline void emptyBin(CThreadCache::tagBin& bin)
{
    bin.pHead = nullptr;
    bin.pTail = nullptr;
    bin.uiCount = 0;
}

// A full bin becomes a batch, which the next refill of any thread takes
// back whole. A bin's chain always ends in null, so the batch needs no
// further link in its slots.
void giveBatch(CMemAllocator::tagSizeClass& sizeClass, CThreadCache::tagBin& bin)
{
    sizeClass.lock.lock();
    writeBatchInfo(bin.pHead, bin.pTail, sizeClass.pBatchHead);
    sizeClass.pBatchHead = bin.pHead;
    sizeClass.lock.unlock();
    emptyBin(bin);
}

// Any other bin goes in front of the free list, keeping its order.
void giveList(CMemAllocator::tagSizeClass& sizeClass, CThreadCache::tagBin& bin)
{
    sizeClass.lock.lock();
    bin.pTail->uGuard = reinterpret_cast<std::uintptr_t>(sizeClass.pFreeHead);
    sizeClass.pFreeHead = bin.pHead;
    sizeClass.lock.unlock();
    emptyBin(bin);
}

} // namespace

void CThreadCache::enable(CMemAllocator& allocator)
{
#if defined(ECS_MEM_VALGRIND)
    if (g_bUnderValgrind)
        return;
#endif
    allocator.m_bThreadCache = allocator.m_uiClassCount != 0;
}

void CThreadCache::detach(const CMemAllocator& allocator)
{
    s_registryLock.lock();
    for (CThreadCache* cache = s_pFirstCache; cache; cache = cache->m_pNext) {
        if (cache->m_pAllocator.load(std::memory_order_relaxed) == &allocator)
            cache->m_pAllocator.store(nullptr, std::memory_order_relaxed);
    }
    s_registryLock.unlock();
}

// The calling thread's cache, made on first use and bound to `allocator`;
// null when the thread cannot have one.
CThreadCache* CThreadCache::cacheFor(CMemAllocator& allocator)
{
    if (!allocator.m_bThreadCache)
        return nullptr;
    CThreadCache* cache = t_pThreadCache;
    if (cache == &s_noCache)
        return nullptr;
#if defined(ECS_MEM_TLS_EMULATED)
    if (!cache) {
        // A thread-local destructor running before the exit hook, after the
        // thread's variables were freed: the thread keeps its one cache.
        s_registryLock.lock();
        cache = ownCacheLocked();
        s_registryLock.unlock();
        if (cache)
            t_pThreadCache = cache;
    }
#endif
    if (!cache) {
        // Straight from the system heap: the pools would recurse, and the
        // test hook's budget is for chunks and large blocks only.
        void* memory = std::calloc(1, sizeof(CThreadCache));
        if (!memory) {
            t_pThreadCache = &s_noCache;
            return nullptr;
        }
        cache = new (memory) CThreadCache();
        t_exitHook.bArmed = true;
        t_pThreadCache = cache;
        s_registryLock.lock();
#if defined(ECS_MEM_TLS_EMULATED)
        new (cache->m_owner) std::thread::id(std::this_thread::get_id());
#endif
        cache->m_pNext = s_pFirstCache;
        if (s_pFirstCache)
            s_pFirstCache->m_pPrevious = cache;
        s_pFirstCache = cache;
        s_registryLock.unlock();
    }
    if (cache->m_pAllocator.load(std::memory_order_relaxed) != &allocator) {
        s_registryLock.lock();
        cache->bindLocked(allocator);
        s_registryLock.unlock();
    }
    return cache;
}

// Registry lock held, so the allocator bound so far cannot release its
// pools meanwhile: its slots go back to it. A cache unbound by such a
// release still lists slots of freed chunks; those are dropped unread.
void CThreadCache::bindLocked(CMemAllocator& allocator)
{
    if (m_pAllocator.load(std::memory_order_relaxed))
        flushAllLocked();
    for (unsigned int i = 0; i < CMemAllocator::CLASS_COUNT; ++i) {
        tagBin& bin = m_bins[i];
        emptyBin(bin);
        bin.uiLimit = i < allocator.m_uiClassCount ? limitFor(allocator.m_pClasses[i].uiStride) : 0;
    }
    m_pAllocator.store(&allocator, std::memory_order_relaxed);
}

void CThreadCache::flushAllLocked()
{
    CMemAllocator* allocator = m_pAllocator.load(std::memory_order_relaxed);
    for (unsigned int i = 0; i < allocator->m_uiClassCount; ++i) {
        if (m_bins[i].uiCount)
            giveList(allocator->m_pClasses[i], m_bins[i]);
    }
}

void* CThreadCache::take(CMemAllocator& allocator, unsigned int size)
{
    if (size >= allocator.m_uiPoolLimit)
        return nullptr;
    CThreadCache* cache = t_pThreadCache;
    if (!cache || cache->m_pAllocator.load(std::memory_order_relaxed) != &allocator)
        cache = cacheFor(allocator);
    if (!cache)
        return nullptr;
    const unsigned int classIndex = allocator.m_pLookup[(size + CMemAllocator::ALIGN_MASK) >> GRANULE_SHIFT];
    tagBin& bin = cache->m_bins[classIndex];
    if (!bin.pHead) {
        CMemAllocator::tagSizeClass& sizeClass = allocator.m_pClasses[classIndex];
        // A batch comes back whole; otherwise half a bin from the free list
        // (walked: it may be long) and the newest chunk's never-used slots.
        // A new chunk is left to the locked path, which also handles its
        // failure.
        const unsigned int want = bin.uiLimit > 1 ? bin.uiLimit / 2 : 1;
        unsigned int taken = 0;
        tagBlockHeader* first = nullptr;
        tagBlockHeader* last = nullptr;
        unsigned int carved = 0;
        unsigned int firstSlot = 0;
        tagChunk* chunk = nullptr;
        bool fromList = false;
        sizeClass.lock.lock();
        if (sizeClass.pBatchHead) {
            // Batches are full bins, of the same limit for every thread.
            first = static_cast<tagBlockHeader*>(sizeClass.pBatchHead);
            const tagBatchInfo info = readBatchInfo(first);
            last = info.pLast;
            taken = bin.uiLimit;
            sizeClass.pBatchHead = info.pNextBatch;
        } else {
            first = static_cast<tagBlockHeader*>(sizeClass.pFreeHead);
            if (first) {
                fromList = true;
                last = first;
                for (taken = 1; taken < want && last->uGuard; ++taken)
                    last = reinterpret_cast<tagBlockHeader*>(last->uGuard);
                sizeClass.pFreeHead = reinterpret_cast<void*>(last->uGuard);
            }
            chunk = static_cast<tagChunk*>(sizeClass.pNewestChunk);
            if (taken < want && chunk && chunk->uiUsed < chunk->uiCapacity) {
                carved = want - taken;
                if (carved > chunk->uiCapacity - chunk->uiUsed)
                    carved = chunk->uiCapacity - chunk->uiUsed;
                firstSlot = chunk->uiUsed;
                chunk->uiUsed += carved;
            }
        }
        sizeClass.lock.unlock();
        if (taken + carved == 0)
            return nullptr;

        // The carved slots are ours alone now: give them headers outside the
        // lock, linked in address order behind the slots from the list.
        tagBlockHeader* carvedHead = nullptr;
        tagBlockHeader* carvedTail = nullptr;
        for (unsigned int i = carved; i-- > 0;) {
            tagBlockHeader* header =
                reinterpret_cast<tagBlockHeader*>(reinterpret_cast<char*>(chunk) + CMemAllocator::CHUNK_DATA_OFFSET +
                                                  static_cast<std::size_t>(sizeClass.uiStride) * (firstSlot + i));
            unpoisonRegion(header, CMemAllocator::HEADER_SIZE);
            header->uOwner = reinterpret_cast<std::uintptr_t>(&sizeClass);
            header->uGuard = reinterpret_cast<std::uintptr_t>(carvedHead);
            if (!carvedTail)
                carvedTail = header;
            carvedHead = header;
        }
        if (first) {
            // A batch's last slot already ends its chain; leave its line be.
            if (fromList)
                last->uGuard = reinterpret_cast<std::uintptr_t>(carvedHead);
            bin.pHead = first;
            bin.pTail = carved ? carvedTail : last;
        } else {
            bin.pHead = carvedHead;
            bin.pTail = carvedTail;
        }
        bin.uiCount = taken + carved;
    }
    tagBlockHeader* header = bin.pHead;
    bin.pHead = reinterpret_cast<tagBlockHeader*>(header->uGuard);
    --bin.uiCount;
    header->uGuard = guardOf(header);
    announceBlock(header + 1, size);
    return header + 1;
}

bool CThreadCache::put(CMemAllocator& allocator, void* p)
{
    if (!p || (reinterpret_cast<std::uintptr_t>(p) & CMemAllocator::ALIGN_MASK) != 0)
        return false;
    // Aligned, so the header can be read as words (as on the direct path).
    tagBlockHeader* header = headerOf(p);
    if (!hasValidGuardFast(header))
        return false;
    const std::uintptr_t offset = header->uOwner - reinterpret_cast<std::uintptr_t>(allocator.m_pClasses);
    if (offset >= static_cast<std::uintptr_t>(sizeof(CMemAllocator::tagSizeClass)) * allocator.m_uiClassCount)
        return false;
    const unsigned int classIndex = static_cast<unsigned int>(offset / sizeof(CMemAllocator::tagSizeClass));
    CThreadCache* cache = t_pThreadCache;
    if (!cache || cache->m_pAllocator.load(std::memory_order_relaxed) != &allocator)
        cache = cacheFor(allocator);
    if (!cache)
        return false;
    tagBin& bin = cache->m_bins[classIndex];
    CMemAllocator::tagSizeClass& sizeClass = allocator.m_pClasses[classIndex];
    // A full bin goes to the class whole, in one splice.
    if (bin.uiCount >= bin.uiLimit && bin.uiCount != 0)
        giveBatch(sizeClass, bin);
    retireBlock(header + 1, sizeClass.uiUsable);
    bin.push(header);
    return true;
}

unsigned int CThreadCache::cachedCount(const CMemAllocator& allocator, unsigned int classIndex)
{
    const CThreadCache* cache = t_pThreadCache;
    if (!cache || classIndex >= CMemAllocator::CLASS_COUNT ||
        cache->m_pAllocator.load(std::memory_order_relaxed) != &allocator)
        return 0;
    return cache->m_bins[classIndex].uiCount;
}

void CThreadCache::flushCurrent()
{
    CThreadCache* cache = t_pThreadCache;
    if (!cache || cache == &s_noCache)
        return;
    s_registryLock.lock();
    if (cache->m_pAllocator.load(std::memory_order_relaxed))
        cache->flushAllLocked();
    s_registryLock.unlock();
}

void CThreadCache::releaseCurrent()
{
    CThreadCache* cache = t_pThreadCache;
    // Whatever the thread still frees on its way out takes the locked path.
    t_pThreadCache = &s_noCache;
    if (cache == &s_noCache)
        return;
#if defined(ECS_MEM_TLS_EMULATED)
    s_registryLock.lock();
    if (!cache)
        cache = ownCacheLocked();
    if (!cache) {
        s_registryLock.unlock();
        return;
    }
#else
    if (!cache)
        return;
    s_registryLock.lock();
#endif
    if (cache->m_pAllocator.load(std::memory_order_relaxed))
        cache->flushAllLocked();
    if (cache->m_pPrevious)
        cache->m_pPrevious->m_pNext = cache->m_pNext;
    else
        s_pFirstCache = cache->m_pNext;
    if (cache->m_pNext)
        cache->m_pNext->m_pPrevious = cache->m_pPrevious;
    s_registryLock.unlock();
    cache->~CThreadCache();
    std::free(cache);
}

} // namespace MemInternal

} // namespace Trell

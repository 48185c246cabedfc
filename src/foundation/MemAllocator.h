#pragma once

// The allocator's records and its allocation path, shared by CMemAllocator.cpp
// and CMemory.cpp so that the front-end reaches a pool slot without a call
// through the dynamic linker's tables.

#include <foundation/CMemAllocator.h>

#include "MemInternal.h"
#include "MemSpinLock.h"
#include "MemThreadCache.h"

#include <cinttypes>
#include <cstddef>
#include <cstdint>

namespace Trell {

// One row of the size-class table, alone on its cache line together with the
// lock that guards it, so that threads working on different classes never
// share a line.
struct alignas(64) CMemAllocator::tagSizeClass
{
    TRELL_DECLARE_ALLOCATOR(u"CMemAllocator::tagSizeClass")

    unsigned int uiStride;       // bytes per slot, block header included
    unsigned int uiUsable;       // stride - HEADER_SIZE
    unsigned int uiInitialCount; // slots of the first chunk
    unsigned int uiGrowthCount;  // slots of every later chunk
    unsigned int uiTotalSlots;   // slots of all chunks so far
    void* pNewestChunk;
    void* pFreeHead; // block header of the most recently freed slot
    MemInternal::CMemSpinLock lock;
    // Full bins that thread caches gave back, kept apart from the free list
    // so that a cache takes one back whole without walking it: each batch is
    // a null-terminated chain through word 1 of as many slots as a bin holds,
    // whose first slot's body names its last slot and the next batch (see
    // tagBatchInfo).
    void* pBatchHead;
};

namespace MemInternal {

// Chunk header; the slots start at CHUNK_DATA_OFFSET.
struct tagChunk
{
    TRELL_DECLARE_ALLOCATOR(u"tagChunk")

    unsigned int uiByteSize;
    unsigned int uiCapacity;
    unsigned int uiUsed;
    tagChunk* pPrevious;
};
static_assert(sizeof(tagChunk) <= CMemAllocator::CHUNK_DATA_OFFSET, "chunk header overlaps its slots");

struct tagBlockHeader
{
    TRELL_DECLARE_ALLOCATOR(u"tagBlockHeader")

    std::uintptr_t uOwner; // CMemAllocator::tagSizeClass*, 0 for a large block
    std::uintptr_t uGuard; // own address ^ GUARD_KEY, or the next free header
};
static_assert(sizeof(tagBlockHeader) == CMemAllocator::HEADER_SIZE, "block header size");
static_assert(offsetof(tagBlockHeader, uGuard) == sizeof(std::uintptr_t), "guard is the second word");

// Kept in the body of a batch's first slot, which is free, so that taking a
// batch touches no other slot. The body is poisoned for AddressSanitizer
// like any free slot's, hence the unchecked accessors; Valgrind never sees
// them (no thread caches under Valgrind).
struct tagBatchInfo
{
    TRELL_DECLARE_ALLOCATOR(u"tagBatchInfo")

    tagBlockHeader* pLast;
    tagBlockHeader* pNextBatch;
};
// The smallest class's usable size is two words (8 bytes on 32-bit targets,
// 16 on 64-bit).
static_assert(sizeof(tagBatchInfo) <= 2 * sizeof(void*), "the smallest slot body holds a batch's description");

ECS_MEM_NO_ASAN inline void writeBatchInfo(tagBlockHeader* first, tagBlockHeader* last, void* nextBatch)
{
    tagBatchInfo* info = reinterpret_cast<tagBatchInfo*>(first + 1);
    info->pLast = last;
    info->pNextBatch = static_cast<tagBlockHeader*>(nextBatch);
}

ECS_MEM_NO_ASAN inline tagBatchInfo readBatchInfo(const tagBlockHeader* first)
{
    return *reinterpret_cast<const tagBatchInfo*>(first + 1);
}

constexpr unsigned int GRANULE_SHIFT = CMemAllocator::ALIGN_MASK == 3 ? 2 : 4;
static_assert((1u << GRANULE_SHIFT) == CMemAllocator::ALIGN_MASK + 1, "granule");

inline tagBlockHeader* headerOf(const void* p)
{
    return reinterpret_cast<tagBlockHeader*>(reinterpret_cast<std::uintptr_t>(p) - CMemAllocator::HEADER_SIZE);
}

inline std::uintptr_t guardOf(const tagBlockHeader* header)
{
    return reinterpret_cast<std::uintptr_t>(header) ^ CMemAllocator::GUARD_KEY;
}

// The header of a pointer we did not hand out may sit in memory the
// sanitizers guard (another allocator's red zone, a freed block); reading it
// is how a foreign pointer is recognised (see readUnchecked).
// The header may be misaligned too, so its words are addressed bytewise.
inline bool hasValidGuard(const tagBlockHeader* header)
{
    std::uintptr_t guard;
    readUnchecked(reinterpret_cast<const char*>(header) + sizeof(std::uintptr_t), &guard, sizeof(guard));
    return guard == guardOf(header);
}

inline std::uintptr_t ownerOf(const tagBlockHeader* header)
{
    std::uintptr_t owner;
    readUnchecked(header, &owner, sizeof(owner));
    return owner;
}

// The same check for the direct path, which never runs under Valgrind.
ECS_MEM_NO_ASAN inline bool hasValidGuardFast(const tagBlockHeader* header)
{
    const volatile std::uintptr_t* word = &header->uGuard;
    return *word == guardOf(header);
}

void warnInvalidPointer(const void* p);

inline void CThreadCache::tagBin::push(tagBlockHeader* header)
{
    if (uiCount == 0)
        pTail = header;
    header->uGuard = reinterpret_cast<std::uintptr_t>(pHead);
    pHead = header;
    ++uiCount;
}

} // namespace MemInternal

inline void* CMemAllocator::mallocInline(unsigned int size)
{
    using namespace MemInternal;
    if (size >= m_uiPoolLimit)
        return allocateLarge(size);
    tagSizeClass& sizeClass = m_pClasses[m_pLookup[(size + ALIGN_MASK) >> GRANULE_SHIFT]];
    sizeClass.lock.lock();
    tagBlockHeader* header = static_cast<tagBlockHeader*>(sizeClass.pFreeHead);
    if (header) {
        sizeClass.pFreeHead = reinterpret_cast<void*>(header->uGuard);
    } else if (sizeClass.pBatchHead) {
        // Free slots before new ones: the first batch becomes the free list.
        header = static_cast<tagBlockHeader*>(sizeClass.pBatchHead);
        sizeClass.pBatchHead = readBatchInfo(header).pNextBatch;
        sizeClass.pFreeHead = reinterpret_cast<void*>(header->uGuard);
    } else {
        tagChunk* chunk = static_cast<tagChunk*>(sizeClass.pNewestChunk);
        if (!chunk || chunk->uiUsed == chunk->uiCapacity) {
            // Unlocks; falls back to a large block when no chunk can be had.
            return allocateFromNewChunk(sizeClass, size);
        }
        header = reinterpret_cast<tagBlockHeader*>(reinterpret_cast<char*>(chunk) + CHUNK_DATA_OFFSET +
                                                   static_cast<std::size_t>(sizeClass.uiStride) * chunk->uiUsed);
        ++chunk->uiUsed;
        unpoisonRegion(header, HEADER_SIZE);
        header->uOwner = reinterpret_cast<std::uintptr_t>(&sizeClass);
    }
    sizeClass.lock.unlock();
    header->uGuard = guardOf(header);
    announceBlock(header + 1, size);
    return header + 1;
}

// The common case only, with no call in it: a pooled request whose bin in
// the calling thread's cache holds a slot. Null sends the caller to the
// cache's slow path (CThreadCache::take), then to mallocInline.
// Only for allocators with thread caches (never under Valgrind).
inline void* CMemAllocator::popCached(unsigned int size)
{
    using namespace MemInternal;
    if (size >= m_uiPoolLimit)
        return nullptr;
    CThreadCache* cache = t_pThreadCache;
    if (!cache || cache->m_pAllocator.load(std::memory_order_relaxed) != this)
        return nullptr;
    CThreadCache::tagBin& bin = cache->m_bins[m_pLookup[(size + ALIGN_MASK) >> GRANULE_SHIFT]];
    tagBlockHeader* header = bin.pHead;
    if (!header)
        return nullptr;
    tagBlockHeader* next = reinterpret_cast<tagBlockHeader*>(header->uGuard);
    // The next pop of this class reads that slot's header: start the load
    // now, while the caller works with this block.
    __builtin_prefetch(next);
    bin.pHead = next;
    --bin.uiCount;
    header->uGuard = guardOf(header);
#if defined(ECS_MEM_ASAN)
    ASAN_UNPOISON_MEMORY_REGION(header + 1, size);
#endif
    return header + 1;
}

// Counterpart of popCached: pushes a valid pooled block of this allocator
// onto the calling thread's bin when it has room. False (nothing done) sends
// the caller to CThreadCache::put, then to freeInline, which also judges and
// refuses bad pointers.
inline bool CMemAllocator::pushCached(void* p)
{
    using namespace MemInternal;
    // Every block we hand out is aligned; anything else is judged (and
    // refused) on the full path, which reads its would-be header bytewise.
    if (!p || (reinterpret_cast<std::uintptr_t>(p) & ALIGN_MASK) != 0)
        return false;
    tagBlockHeader* header = headerOf(p);
    if (!hasValidGuardFast(header))
        return false;
    // Large blocks (owner 0) and blocks of another allocator fall outside
    // the table; they take the full path.
    const std::uintptr_t offset = header->uOwner - reinterpret_cast<std::uintptr_t>(m_pClasses);
    if (offset >= static_cast<std::uintptr_t>(sizeof(tagSizeClass)) * m_uiClassCount)
        return false;
    CThreadCache* cache = t_pThreadCache;
    if (!cache || cache->m_pAllocator.load(std::memory_order_relaxed) != this)
        return false;
    const unsigned int index = static_cast<unsigned int>(offset / sizeof(tagSizeClass));
    CThreadCache::tagBin& bin = cache->m_bins[index];
    if (bin.uiCount >= bin.uiLimit)
        return false;
#if defined(ECS_MEM_ASAN)
    ASAN_POISON_MEMORY_REGION(p, m_pClasses[index].uiUsable);
#endif
    bin.push(header);
    return true;
}

inline void CMemAllocator::freeInline(void* p)
{
    using namespace MemInternal;
    if (!p)
        return;
    tagBlockHeader* header = headerOf(p);
    if (!hasValidGuard(header)) {
        warnInvalidPointer(p);
        return;
    }
    if (header->uOwner == 0) {
        header->uGuard = 0;
        systemFree(header);
        return;
    }
    tagSizeClass& sizeClass = *reinterpret_cast<tagSizeClass*>(header->uOwner);
    retireBlock(p, sizeClass.uiUsable);
    sizeClass.lock.lock();
    header->uGuard = reinterpret_cast<std::uintptr_t>(sizeClass.pFreeHead);
    sizeClass.pFreeHead = header;
    sizeClass.lock.unlock();
}

} // namespace Trell

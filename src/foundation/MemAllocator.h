#pragma once

// The allocator's records and its allocation path, shared by CMemAllocator.cpp
// and CMemory.cpp so that the front-end reaches a pool slot without a call
// through the dynamic linker's tables.

#include <foundation/CMemAllocator.h>

#include "MemInternal.h"
#include "MemSpinLock.h"

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

    unsigned int uiStride;        // bytes per slot, block header included
    unsigned int uiUsable;        // stride - HEADER_SIZE
    unsigned int uiInitialCount;  // slots of the first chunk
    unsigned int uiGrowthCount;   // slots of every later chunk
    unsigned int uiTotalSlots;    // slots of all chunks so far
    void* pNewestChunk;
    void* pFreeHead;              // block header of the most recently freed slot
    MemInternal::CMemSpinLock lock;
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

    std::uintptr_t uOwner;  // CMemAllocator::tagSizeClass*, 0 for a large block
    std::uintptr_t uGuard;  // own address ^ GUARD_KEY, or the next free header
};
static_assert(sizeof(tagBlockHeader) == CMemAllocator::HEADER_SIZE, "block header size");
static_assert(offsetof(tagBlockHeader, uGuard) == sizeof(std::uintptr_t), "guard is the second word");

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

// The common case only, with no call in it: a pooled request whose class has
// a free slot and an uncontended lock. Null sends the caller to mallocInline.
// Not used under Valgrind (see g_pFastAllocator).
inline void* CMemAllocator::mallocFast(unsigned int size)
{
    using namespace MemInternal;
    if (size >= m_uiPoolLimit)
        return nullptr;
    tagSizeClass& sizeClass = m_pClasses[m_pLookup[(size + ALIGN_MASK) >> GRANULE_SHIFT]];
    if (!sizeClass.lock.tryLock())
        return nullptr;
    tagBlockHeader* header = static_cast<tagBlockHeader*>(sizeClass.pFreeHead);
    if (!header) {
        sizeClass.lock.unlock();
        return nullptr;
    }
    sizeClass.pFreeHead = reinterpret_cast<void*>(header->uGuard);
    sizeClass.lock.unlock();
    header->uGuard = guardOf(header);
#if defined(ECS_MEM_ASAN)
    ASAN_UNPOISON_MEMORY_REGION(header + 1, size);
#endif
    return header + 1;
}

// Counterpart of mallocFast: false (nothing done) sends the caller to
// freeInline.
inline bool CMemAllocator::freeFast(void* p)
{
    using namespace MemInternal;
    // Every block we hand out is aligned; anything else is judged (and
    // refused) on the full path, which reads its would-be header bytewise.
    if (!p || (reinterpret_cast<std::uintptr_t>(p) & ALIGN_MASK) != 0)
        return false;
    tagBlockHeader* header = headerOf(p);
    if (!hasValidGuardFast(header) || header->uOwner == 0)
        return false;
    tagSizeClass& sizeClass = *reinterpret_cast<tagSizeClass*>(header->uOwner);
    if (!sizeClass.lock.tryLock())
        return false;
#if defined(ECS_MEM_ASAN)
    ASAN_POISON_MEMORY_REGION(p, sizeClass.uiUsable);
#endif
    header->uGuard = reinterpret_cast<std::uintptr_t>(sizeClass.pFreeHead);
    sizeClass.pFreeHead = header;
    sizeClass.lock.unlock();
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

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <cstdint>

namespace Trell {

namespace MemInternal {
class CThreadCache;
}

// The pooled allocator behind CMemManager: 64 size classes for requests up to
// 512 bytes, each carving fixed-size slots out of chunks taken from the system
// heap and reusing freed slots last-in first-out through an intrusive free
// list; larger requests go to the system heap behind the same block header.
//
// Block header, immediately before the memory handed out (two words):
//   word 0: the owning size class, or 0 for a large block;
//   word 1: while allocated, the header's own address XOR GUARD_KEY; while the
//           slot sits on a free list, the next free header.
// A free whose word 1 does not match is refused with a console warning, which
// catches foreign pointers and a second free of a pooled block.
//
// Layout on 32-bit targets: header words are 32-bit (8-byte header), strides
// are (requested + 8 + 3 [+ 25 in checking mode]) & ~3, so blocks are 4-byte
// aligned; chunks start with a 16-byte header (byte size, slot capacity, slots
// used, previous chunk) and large blocks carry an 8-byte prefix.
// What differs on 64-bit targets: header words are pointer-sized (16-byte
// header) and word 1 is the 64-bit address XOR GUARD_KEY; every block is
// 16-byte aligned as operator new promises, so strides are
// (requested + 16 + 15 [+ 49 in checking mode: the checker's six
// pointer-sized header words and its guard byte]) & ~15 and the usable size
// is stride - 16; the chunk header fields keep their order but are padded to
// 32 bytes so slots stay aligned; large blocks carry a 16-byte prefix.
// Because usable sizes round up to 16, neighbouring requested sizes share a
// usable size on 64-bit (8 and 16 both give 16, 504 and 512 both 512): a
// request is served by the first class that fits, so the second class of
// such a pair stays empty and never allocates a chunk, and a 512-byte
// request comes from the 504 class.
//
// Threading: any thread may allocate and free. Each size class has its own
// spin lock on its own cache line, held only for the free-list pop/push or the
// slot update (a new chunk is taken from the system heap without it);
// there is no lock across classes, so threads using different sizes do not
// contend. The manager's allocator also keeps a per-thread cache of free
// slots in front of each class, so that most requests take no lock at all;
// slots in such a cache are not on the class's free list (getFreeSlotCount)
// until the thread flushes them, which it does in batches and when it exits.
class ECS_API CMemAllocator
{
    TRELL_DECLARE_ALLOCATOR(u"CMemAllocator")

public:
    static constexpr unsigned int CLASS_COUNT = 64;
    static constexpr unsigned int HEADER_SIZE = 2 * sizeof(void*);
    static constexpr unsigned int ALIGN_MASK = sizeof(void*) == 4 ? 3u : 15u;
    static constexpr unsigned int CHUNK_DATA_OFFSET = 4 * sizeof(void*);
    static constexpr unsigned int LARGE_BLOCK_PREFIX = HEADER_SIZE;
    static constexpr std::uintptr_t GUARD_KEY = 0x837A46C2u;
    // Bytes the checker adds to every request (its header and the guard byte);
    // the strides reserve them in checking mode so that checked requests up to
    // 512 bytes still fit a pool.
    static constexpr unsigned int CHECKER_OVERHEAD = 6 * sizeof(void*) + 1;

    // Builds the size-class table; `checkingMode` widens every stride by
    // CHECKER_OVERHEAD. No chunk is allocated until a class is first used.
    explicit CMemAllocator(bool checkingMode = false);
    virtual ~CMemAllocator();

    // A block of at least `size` bytes (0 is served by the smallest class), or
    // null when the system heap fails.
    void* malloc(unsigned int size);
    // Takes back a block of this allocator; anything else (a foreign pointer,
    // a block freed before) is refused with a console warning. Null is ignored.
    void free(void* p);
    // Returns every chunk and the table to the system heap; blocks still out
    // become invalid. Further requests go to the system heap as large blocks.
    void releaseAll();

    // Index of the first class whose usable size is at least `size` (binary
    // search of the table), or -1 when the request is larger than every class.
    int findClass(unsigned int size) const;
    // Class of a live block: its index, -1 for a large block, -2 when `p` does
    // not carry a valid header (foreign, or already freed).
    int getBlockClass(const void* p) const;

    unsigned int getClassCount() const;
    unsigned int getStride(unsigned int classIndex) const;
    unsigned int getUsableSize(unsigned int classIndex) const;
    unsigned int getInitialCount(unsigned int classIndex) const;
    unsigned int getGrowthCount(unsigned int classIndex) const;
    // Slots of all chunks the class has taken so far.
    unsigned int getTotalSlots(unsigned int classIndex) const;
    // Free slots the class holds: its free list and the full bins thread
    // caches gave back (walked under the lock). Slots still in a thread's
    // cache are not counted.
    unsigned int getFreeSlotCount(unsigned int classIndex) const;
    // Largest request the pools serve (0 once released).
    unsigned int getMaxPooledSize() const { return m_uiPoolLimit ? m_uiPoolLimit - 1 : 0; }

    // One row of the size-class table (defined in the library's sources).
    struct tagSizeClass;

protected:
    CMemAllocator(const CMemAllocator&);
    CMemAllocator& operator=(const CMemAllocator&);

private:
    // The front-end takes the allocation path directly (see CMemory.cpp);
    // the thread caches refill from and flush to the classes.
    friend class CMemory;
    friend class MemInternal::CThreadCache;

    // The allocation path, defined in the library's sources and inlined into
    // malloc/free and the CMemory front-end.
    inline void* mallocInline(unsigned int size);
    inline void freeInline(void* p);
    inline void* popCached(unsigned int size);
    inline bool pushCached(void* p);
    void* allocateFromNewChunk(tagSizeClass& sizeClass, unsigned int size);
    void* allocateLarge(unsigned int size);

    tagSizeClass* m_pClasses;
    unsigned int m_uiClassCount;
    // Requests below this size are pooled: the largest usable size + 1, or 0
    // when there are no pools.
    unsigned int m_uiPoolLimit;
    // Class index per (size + ALIGN_MASK) / (ALIGN_MASK + 1): the binary
    // search's answer for every request size, precomputed when the table is
    // built so that the hot path is one load.
    unsigned char* m_pLookup;
    // Whether requests go through the calling thread's cache first (the
    // manager's allocator outside Valgrind; off for every other allocator).
    bool m_bThreadCache;
};

} // namespace Trell

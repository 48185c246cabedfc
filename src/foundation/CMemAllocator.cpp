#include <foundation/CMemAllocator.h>

#include "Console.h"
#include "MemAllocator.h"
#include "MemInternal.h"

#include <cinttypes>
#if defined(_WIN32)
#include <malloc.h>
#endif
#include <cstdlib>
#include <cstring>
#include <new>

namespace Trell {

namespace {

// Requested size, initial slots and growth slots per row band of the table.
struct tagClassBand
{
    TRELL_DECLARE_ALLOCATOR(u"tagClassBand")

    unsigned int uiLast;
    unsigned int uiInitial;
    unsigned int uiGrowth;
};

constexpr tagClassBand CLASS_BANDS[] = {
    {48, 10000, 100}, {96, 5000, 100}, {144, 2000, 50}, {192, 1000, 50}, {248, 500, 20},
    {296, 200, 20},   {392, 100, 10},  {448, 50, 5},    {512, 20, 5},
};

} // namespace

namespace MemInternal {

#if defined(ECS_MEM_VALGRIND)
bool g_bUnderValgrind = false;

void valgrindNoAccess(const void* p, std::size_t size) noexcept
{
    VALGRIND_MAKE_MEM_NOACCESS(p, size);
}

void valgrindUndefined(const void* p, std::size_t size) noexcept
{
    VALGRIND_MAKE_MEM_UNDEFINED(p, size);
}

void valgrindMallocLike(const void* p, std::size_t size) noexcept
{
    VALGRIND_MALLOCLIKE_BLOCK(p, size, 0, 0);
}

void valgrindFreeLike(const void* p) noexcept
{
    VALGRIND_FREELIKE_BLOCK(p, 0);
}

void valgrindReadUnchecked(const void* from, void* to, std::size_t size) noexcept
{
    VALGRIND_DISABLE_ERROR_REPORTING;
    const volatile unsigned char* source = static_cast<const volatile unsigned char*>(from);
    unsigned char* target = static_cast<unsigned char*>(to);
    for (std::size_t i = 0; i < size; ++i)
        target[i] = source[i];
    VALGRIND_ENABLE_ERROR_REPORTING;
    VALGRIND_MAKE_MEM_DEFINED(to, size);
}
#endif

void warnInvalidPointer(const void* p)
{
    Console::printf("[Warning][TrellEngine] Free(0x%" PRIxPTR
                    "): Invalid Pointer, Maybe it had been freed or crashed.\n",
                    reinterpret_cast<std::uintptr_t>(p));
}

} // namespace MemInternal

using namespace MemInternal;

CMemAllocator::CMemAllocator(bool checkingMode)
    : m_pClasses(nullptr), m_uiClassCount(0), m_uiPoolLimit(0), m_pLookup(nullptr), m_bThreadCache(false)
{
#if defined(ECS_MEM_VALGRIND)
    g_bUnderValgrind = RUNNING_ON_VALGRIND != 0;
#endif
    const std::size_t tableBytes = sizeof(tagSizeClass) * CLASS_COUNT;
#if defined(_WIN32)
    // The Windows C runtime has no aligned_alloc; its aligned blocks have a free of their own.
    void* table = _aligned_malloc(tableBytes, alignof(tagSizeClass));
#else
    void* table = std::aligned_alloc(alignof(tagSizeClass), tableBytes);
#endif
    if (!table)
        return;
    std::memset(table, 0, tableBytes);
    m_pClasses = static_cast<tagSizeClass*>(table);
    const unsigned int extra = checkingMode ? CHECKER_OVERHEAD : 0;
    unsigned int band = 0;
    for (unsigned int i = 0; i < CLASS_COUNT; ++i) {
        const unsigned int requested = (i + 1) * 8;
        while (requested > CLASS_BANDS[band].uiLast)
            ++band;
        tagSizeClass* row = new (&m_pClasses[i]) tagSizeClass();
        row->uiStride = (requested + HEADER_SIZE + ALIGN_MASK + extra) & ~ALIGN_MASK;
        row->uiUsable = row->uiStride - HEADER_SIZE;
        row->uiInitialCount = CLASS_BANDS[band].uiInitial;
        row->uiGrowthCount = CLASS_BANDS[band].uiGrowth;
    }
    m_uiClassCount = CLASS_COUNT;

    // Without the lookup the pools stay unused (the limit stays 0): every
    // request goes to the system heap, which is slower but still correct.
    const unsigned int maxUsable = m_pClasses[CLASS_COUNT - 1].uiUsable;
    const unsigned int lookupCount = (maxUsable >> GRANULE_SHIFT) + 1;
    m_pLookup = static_cast<unsigned char*>(std::malloc(lookupCount));
    if (!m_pLookup)
        return;
    for (unsigned int g = 0; g < lookupCount; ++g)
        m_pLookup[g] = static_cast<unsigned char>(findClass(g << GRANULE_SHIFT));
    m_uiPoolLimit = maxUsable + 1;
}

CMemAllocator::CMemAllocator(const CMemAllocator&)
    : m_pClasses(nullptr), m_uiClassCount(0), m_uiPoolLimit(0), m_pLookup(nullptr), m_bThreadCache(false)
{}

CMemAllocator& CMemAllocator::operator=(const CMemAllocator&)
{
    return *this;
}

CMemAllocator::~CMemAllocator()
{
    releaseAll();
}

void CMemAllocator::releaseAll()
{
    m_uiPoolLimit = 0;
    // No thread cache may hand out or flush into the chunks freed below.
    if (m_bThreadCache) {
        m_bThreadCache = false;
        CThreadCache::detach(*this);
    }
    if (m_pClasses) {
        for (unsigned int i = 0; i < m_uiClassCount; ++i) {
            tagChunk* chunk = static_cast<tagChunk*>(m_pClasses[i].pNewestChunk);
            while (chunk) {
                tagChunk* previous = chunk->pPrevious;
                MemInternal::unpoisonRegion(chunk, chunk->uiByteSize);
                MemInternal::systemFree(chunk);
                chunk = previous;
            }
            m_pClasses[i].~tagSizeClass();
        }
#if defined(_WIN32)
        _aligned_free(m_pClasses);
#else
        std::free(m_pClasses);
#endif
    }
    std::free(m_pLookup);
    m_pClasses = nullptr;
    m_pLookup = nullptr;
    m_uiClassCount = 0;
    m_uiPoolLimit = 0;
}

int CMemAllocator::findClass(unsigned int size) const
{
    if (m_uiClassCount == 0 || m_pClasses[m_uiClassCount - 1].uiUsable < size)
        return -1;
    unsigned int low = 0;
    unsigned int high = m_uiClassCount - 1;
    while (low < high) {
        const unsigned int middle = (low + high) / 2;
        if (m_pClasses[middle].uiUsable < size)
            low = middle + 1;
        else
            high = middle;
    }
    return static_cast<int>(low);
}

void* CMemAllocator::malloc(unsigned int size)
{
    if (m_bThreadCache) {
        if (void* p = popCached(size))
            return p;
        if (void* p = CThreadCache::take(*this, size))
            return p;
    }
    return mallocInline(size);
}

// Called with the class locked, when its free list is empty and its newest
// chunk full (or missing); returns with the lock released. The chunk is taken
// from the system heap without the lock, which other threads would otherwise
// spin on through a system call that may map and fault pages.
void* CMemAllocator::allocateFromNewChunk(tagSizeClass& sizeClass, unsigned int size)
{
    void* const seenChunk = sizeClass.pNewestChunk;
    const unsigned int count =
        (!seenChunk && sizeClass.uiInitialCount != 0) ? sizeClass.uiInitialCount : sizeClass.uiGrowthCount;
    const unsigned int bytes = CHUNK_DATA_OFFSET + sizeClass.uiStride * count;
    sizeClass.lock.unlock();
    tagChunk* chunk = static_cast<tagChunk*>(systemMalloc(bytes));
    if (!chunk) {
        Console::printf("[Warning][TrellEngine] Allocate memory pool block failed (size = %u).\n", bytes);
        return allocateLarge(size);
    }
    chunk->uiByteSize = bytes;
    chunk->uiCapacity = count;
    chunk->uiUsed = 1;
    poisonRegion(reinterpret_cast<char*>(chunk) + CHUNK_DATA_OFFSET, bytes - CHUNK_DATA_OFFSET);
    tagBlockHeader* header = reinterpret_cast<tagBlockHeader*>(reinterpret_cast<char*>(chunk) + CHUNK_DATA_OFFSET);
    unpoisonRegion(header, HEADER_SIZE);
    header->uOwner = reinterpret_cast<std::uintptr_t>(&sizeClass);
    header->uGuard = guardOf(header);

    sizeClass.lock.lock();
    if (sizeClass.pNewestChunk != seenChunk) {
        // Another thread linked a chunk meanwhile: use the class as it is now
        // (its new chunk has room) and give ours back, so that no chunk is
        // left behind with slots that would never be carved.
        sizeClass.lock.unlock();
        unpoisonRegion(chunk, bytes);
        systemFree(chunk);
        return mallocInline(size);
    }
    chunk->pPrevious = static_cast<tagChunk*>(seenChunk);
    sizeClass.pNewestChunk = chunk;
    sizeClass.uiTotalSlots += count;
    sizeClass.lock.unlock();
    announceBlock(header + 1, size);
    return header + 1;
}

void* CMemAllocator::allocateLarge(unsigned int size)
{
    tagBlockHeader* header =
        static_cast<tagBlockHeader*>(MemInternal::systemMalloc(static_cast<std::size_t>(LARGE_BLOCK_PREFIX) + size));
    if (!header)
        return nullptr;
    header->uOwner = 0;
    header->uGuard = guardOf(header);
    return header + 1;
}

void CMemAllocator::free(void* p)
{
    if (m_bThreadCache && (pushCached(p) || CThreadCache::put(*this, p)))
        return;
    freeInline(p);
}

int CMemAllocator::getBlockClass(const void* p) const
{
    if (!p)
        return -2;
    const tagBlockHeader* header = headerOf(p);
    if (!hasValidGuard(header))
        return -2;
    const std::uintptr_t owner = ownerOf(header);
    if (owner == 0)
        return -1;
    const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(m_pClasses);
    if (owner < first || owner >= first + sizeof(tagSizeClass) * m_uiClassCount)
        return -2;
    return static_cast<int>((owner - first) / sizeof(tagSizeClass));
}

unsigned int CMemAllocator::getClassCount() const
{
    return m_uiClassCount;
}

unsigned int CMemAllocator::getStride(unsigned int classIndex) const
{
    return classIndex < m_uiClassCount ? m_pClasses[classIndex].uiStride : 0;
}

unsigned int CMemAllocator::getUsableSize(unsigned int classIndex) const
{
    return classIndex < m_uiClassCount ? m_pClasses[classIndex].uiUsable : 0;
}

unsigned int CMemAllocator::getInitialCount(unsigned int classIndex) const
{
    return classIndex < m_uiClassCount ? m_pClasses[classIndex].uiInitialCount : 0;
}

unsigned int CMemAllocator::getGrowthCount(unsigned int classIndex) const
{
    return classIndex < m_uiClassCount ? m_pClasses[classIndex].uiGrowthCount : 0;
}

unsigned int CMemAllocator::getTotalSlots(unsigned int classIndex) const
{
    if (classIndex >= m_uiClassCount)
        return 0;
    tagSizeClass& sizeClass = m_pClasses[classIndex];
    sizeClass.lock.lock();
    const unsigned int total = sizeClass.uiTotalSlots;
    sizeClass.lock.unlock();
    return total;
}

unsigned int CMemAllocator::getFreeSlotCount(unsigned int classIndex) const
{
    if (classIndex >= m_uiClassCount)
        return 0;
    tagSizeClass& sizeClass = m_pClasses[classIndex];
    unsigned int count = 0;
    sizeClass.lock.lock();
    for (const tagBlockHeader* header = static_cast<const tagBlockHeader*>(sizeClass.pFreeHead); header;
         header = reinterpret_cast<const tagBlockHeader*>(header->uGuard))
        ++count;
    for (const tagBlockHeader* batch = static_cast<const tagBlockHeader*>(sizeClass.pBatchHead); batch;
         batch = readBatchInfo(batch).pNextBatch) {
        for (const tagBlockHeader* header = batch; header;
             header = reinterpret_cast<const tagBlockHeader*>(header->uGuard))
            ++count;
    }
    sizeClass.lock.unlock();
    return count;
}

} // namespace Trell

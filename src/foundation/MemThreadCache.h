#pragma once

// Per-thread caches of free pool slots.
//
// Every pooled malloc and free used to take its size class's lock; with two
// threads (a producer allocating, a consumer freeing) that lock and the cache
// line it shares with the free-list head bounced between the cores on every
// block. Now each thread keeps, per size class, a short LIFO list of free
// slots ("bin") that it pops and pushes without any atomic operation. Blocks
// move between a bin and its class in batches under one lock acquisition: a
// full bin goes to the class whole, as a batch kept beside the free list
// (its tail is kept for that), and an empty bin takes a batch back whole, or
// else up to half a bin from the free list and the newest chunk. So a
// producer thread and a consumer thread meet on the class's lock once per
// bin, not once per block.
//
// A cached slot is a free slot in every respect the checks rely on: word 0
// still names its class and word 1 holds the next cached header instead of
// the own-address guard, so a second free is refused exactly as for a slot
// on the shared list, and under AddressSanitizer its body is poisoned.
//
// Lifetimes: a thread's cache is made on its first pooled malloc or free,
// serves one allocator at a time (the manager's, in practice) and is
// registered in a process-wide list under the registry lock. It goes back to
// its allocator when the thread exits, or when the thread turns to another
// allocator. An allocator releasing its pools first unbinds every cache bound
// to it (under the registry lock, so an exiting thread cannot flush into
// chunks being freed); an unbound cache drops its stale contents unseen, as
// all its slots were in those chunks.

#include <foundation/CMemAllocator.h>
#include <foundation/CMemory.h>

#include <atomic>

// On Windows the toolchain's thread-locals are emulated: a thread's variables
// are freed before the C++ runtime runs its thread_local destructors (and
// read back afterwards as fresh, null ones), so the exit hook cannot rely on
// t_pThreadCache and finds the thread's cache by its owner instead.
#if defined(_WIN32)
#define ECS_MEM_TLS_EMULATED 1
#include <new>
#include <thread>
#endif

namespace Trell {
namespace MemInternal {

struct tagBlockHeader;

class CThreadCache
{
    TRELL_DECLARE_ALLOCATOR(u"CThreadCache")

public:
    // Bounds of one bin: BIN_BYTES of slots, but no fewer than MIN_LIMIT and
    // no more than MAX_LIMIT slots, so that a thread cannot hoard much of a
    // class while blocks still move in batches of dozens (fewer, and the
    // per-batch lock and call cost showed on single-threaded workloads).
    static constexpr unsigned int BIN_BYTES = 8192;
    static constexpr unsigned int MIN_LIMIT = 8;
    static constexpr unsigned int MAX_LIMIT = 64;

    struct tagBin
    {
        TRELL_DECLARE_ALLOCATOR(u"CThreadCache::tagBin")

        tagBlockHeader* pHead = nullptr; // most recently freed slot
        tagBlockHeader* pTail = nullptr; // valid while uiCount > 0
        unsigned int uiCount = 0;
        unsigned int uiLimit = 0; // 0 until bound: every push takes the slow path

        // Links a retired slot as the newest (word 1 = the old head).
        inline void push(tagBlockHeader* header);
    };

    constexpr CThreadCache() = default;
    CThreadCache(const CThreadCache&) = delete;
    CThreadCache& operator=(const CThreadCache&) = delete;

    static unsigned int limitFor(unsigned int stride)
    {
        const unsigned int slots = stride ? BIN_BYTES / stride : MAX_LIMIT;
        return slots < MIN_LIMIT ? MIN_LIMIT : (slots > MAX_LIMIT ? MAX_LIMIT : slots);
    }

    // Lets `allocator` serve its pooled requests through thread caches.
    // Refused under Valgrind, whose client requests live on the locked path.
    static void enable(CMemAllocator& allocator);
    // Unbinds every cache bound to `allocator`; called before its chunks go.
    static void detach(const CMemAllocator& allocator);

    // Slow paths of CMemAllocator::popCached / pushCached: make or rebind
    // the calling thread's cache, refill an empty bin or flush a full one.
    // Null / false when the request is not for the cache (a large or foreign
    // block, a bad pointer) or the thread has no cache to use (it is exiting,
    // or its cache could not be made); the caller then takes the locked path.
    static void* take(CMemAllocator& allocator, unsigned int size);
    static bool put(CMemAllocator& allocator, void* p);

    // Test hooks for the calling thread (see MemTesting.h).
    static unsigned int cachedCount(const CMemAllocator& allocator, unsigned int classIndex);
    static void flushCurrent();

    // The thread's exit hook: hands the cache back and frees it.
    static void releaseCurrent();

    // Bound allocator; null while unbound or once its pools were released.
    // Written under the registry lock, read without it by the owning thread
    // (the releasing thread may write it concurrently).
    std::atomic<CMemAllocator*> m_pAllocator{nullptr};
    // Registry links, under the registry lock.
    CThreadCache* m_pPrevious = nullptr;
    CThreadCache* m_pNext = nullptr;
    // Touched by the owning thread only.
    tagBin m_bins[CMemAllocator::CLASS_COUNT];
#if defined(ECS_MEM_TLS_EMULATED)
    // The owning thread (a std::thread::id, placed when the cache is made;
    // raw storage keeps the constructor constexpr). Under the registry lock.
    alignas(std::thread::id) unsigned char m_owner[sizeof(std::thread::id)] = {};
    bool isOwnedBy(const std::thread::id& thread) const
    {
        return *std::launder(reinterpret_cast<const std::thread::id*>(m_owner)) == thread;
    }
#endif

private:
    static CThreadCache* cacheFor(CMemAllocator& allocator);
    void bindLocked(CMemAllocator& allocator);
    void flushAllLocked();
};

// The calling thread's cache: null before its first pooled request, the
// never-bound exit sentinel once it has exited (or its cache could not be
// made). A static build reads it with one load relative to the thread
// pointer (initial-exec). The shared library keeps the default model: an
// initial-exec variable draws on the small static TLS reserve, which a
// library loaded later with dlopen may not find; TLS descriptors (see
// memory.cmake) keep that access cheap.
#if defined(ECS_STATIC_LIBRARY)
#define ECS_MEM_TLS_MODEL __attribute__((tls_model("initial-exec")))
#else
#define ECS_MEM_TLS_MODEL
#endif
extern __thread CThreadCache* t_pThreadCache ECS_MEM_TLS_MODEL;

} // namespace MemInternal
} // namespace Trell

#include <foundation/CMemAllocator.h>

#include "foundation/MemTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

using namespace Trell;
using namespace MemTest;

namespace {

// A stand-alone allocator with thread caches, as the manager runs its own.
struct tagCachedAllocator
{
    tagCachedAllocator() { MemTesting::enableThreadCache(allocator); }

    unsigned int classOf(unsigned int size) const { return static_cast<unsigned int>(allocator.findClass(size)); }
    unsigned int cached(unsigned int cls) const { return MemTesting::getThreadCacheCount(allocator, cls); }
    unsigned int limit(unsigned int cls) const { return MemTesting::getThreadCacheLimit(allocator, cls); }

    CMemAllocator allocator;
};

} // namespace

// A bin holds up to its limit without touching the class; the block over
// the limit sends the whole bin to the class as one batch, which the next
// refill takes back whole. Without a batch a refill takes half a bin from
// the free list. Either way the most recently freed block comes first.
TEST(CMemThreadCache, FullBinGoesBackAsOneBatchAndComesBackWhole)
{
    tagCachedAllocator cached;
    CMemAllocator& allocator = cached.allocator;
    const unsigned int cls = cached.classOf(64);
    const unsigned int limit = cached.limit(cls);
    ASSERT_GE(limit, 4u);
    std::thread([&] {
        std::vector<void*> blocks;
        for (unsigned int i = 0; i <= limit; ++i)
            blocks.push_back(allocator.malloc(64));
        MemTesting::flushThreadCache();
        const unsigned int leftover = allocator.getFreeSlotCount(cls);

        for (unsigned int i = 0; i < limit; ++i)
            allocator.free(blocks[i]);
        EXPECT_EQ(cached.cached(cls), limit) << "exactly full";
        EXPECT_EQ(allocator.getFreeSlotCount(cls), leftover) << "no flush at the limit";

        EXPECT_EQ(captureStdout([&] { allocator.free(blocks[limit]); }), "") << "a valid free warns nothing";
        EXPECT_EQ(cached.cached(cls), 1u) << "one over: the bin went back, the new block stays";
        EXPECT_EQ(allocator.getFreeSlotCount(cls), leftover + limit);

        EXPECT_EQ(allocator.malloc(64), blocks[limit]) << "last in, first out";
        EXPECT_EQ(allocator.malloc(64), blocks[limit - 1]) << "the batch is refilled first, newest block first";
        EXPECT_EQ(cached.cached(cls), limit - 1);
        EXPECT_EQ(allocator.getFreeSlotCount(cls), leftover);

        // A partial bin goes to the free list; refills then take half a bin.
        MemTesting::flushThreadCache();
        EXPECT_EQ(allocator.getFreeSlotCount(cls), leftover + limit - 1);
        EXPECT_EQ(allocator.malloc(64), blocks[limit - 2]);
        EXPECT_EQ(cached.cached(cls), limit / 2 - 1);
        EXPECT_EQ(allocator.getFreeSlotCount(cls), leftover + limit - 1 - limit / 2);
    }).join();
}

// What a thread frees or allocates after its cache went back at exit (from
// a later thread_local destructor) takes the locked path, which hands out
// the free list and then the batches before any new slot.
TEST(CMemThreadCache, ThreadPastItsExitHookUsesTheLockedPath)
{
    // Not members of the thread-local: where thread-locals are emulated,
    // its storage is freed before its destructor runs.
    static CMemAllocator* s_pLateAllocator = nullptr;
    static std::vector<void*>* s_pLateTaken = nullptr;
    struct tagLateUser
    {
        ~tagLateUser()
        {
            if (!s_pLateAllocator)
                return;
            for (int i = 0; i < 3; ++i)
                s_pLateTaken->push_back(s_pLateAllocator->malloc(40));
            s_pLateAllocator->free(s_pLateTaken->back());
            s_pLateAllocator = nullptr;
        }
    };
    tagCachedAllocator cached;
    CMemAllocator& allocator = cached.allocator;
    const unsigned int cls = cached.classOf(40);
    const unsigned int limit = cached.limit(cls);
    ASSERT_EQ(limit % 2, 0u) << "refills of half a bin add up to a full bin";
    std::vector<void*> blocks;
    std::vector<void*> taken;
    std::thread([&] {
        // Made before the cache, so destroyed after the cache's exit hook.
        thread_local tagLateUser late;
        static_cast<void>(late);
        s_pLateAllocator = &allocator;
        s_pLateTaken = &taken;
        // The first block comes with the chunk, then two refills of half a
        // bin: nothing is left anywhere.
        for (unsigned int i = 0; i <= limit; ++i)
            blocks.push_back(allocator.malloc(40));
        for (void* p : blocks)
            allocator.free(p);
    }).join();
    EXPECT_EQ(taken, (std::vector<void*>{blocks[limit], blocks[limit - 1], blocks[limit - 2]}))
        << "the bin the exit hook put on the free list, then the batch";
    EXPECT_EQ(allocator.getFreeSlotCount(cls), limit - 2 + 1) << "the batch's rest and the block freed late";
    EXPECT_EQ(allocator.getTotalSlots(cls), allocator.getInitialCount(cls));
}

// Producer and consumer on two threads, through a cached allocator: the
// consumer never allocates, so its cache only fills and flushes, the last
// time when it exits. Every block arrives intact, and afterwards every slot
// of the classes is free exactly once.
TEST(CMemThreadCache, BlocksCrossingThreadsAreNeitherLostNorDuplicated)
{
    static constexpr unsigned int SIZES[] = {24, 64, 200};
    tagCachedAllocator cached;
    CMemAllocator& allocator = cached.allocator;
    std::vector<unsigned char*> handed(30000);
    std::atomic<unsigned int> ready{0};
    unsigned int bad = 0;
    // Each block's fill derives from its sequence number.
    std::thread consumer([&] {
        for (unsigned int i = 0; i < handed.size(); ++i) {
            while (ready.load() <= i)
                std::this_thread::yield();
            for (unsigned int b = 0; handed[i] && b < SIZES[i % 3]; ++b)
                bad += handed[i][b] != static_cast<unsigned char>(i * 7 + b);
            bad += handed[i] == nullptr;
            allocator.free(handed[i]);
        }
    });
    std::thread([&] {
        for (unsigned int i = 0; i < handed.size(); ++i) {
            unsigned char* p = static_cast<unsigned char*>(allocator.malloc(SIZES[i % 3]));
            for (unsigned int b = 0; p && b < SIZES[i % 3]; ++b)
                p[b] = static_cast<unsigned char>(i * 7 + b);
            handed[i] = p;
            ready = i + 1;
        }
    }).join();
    consumer.join();
    EXPECT_EQ(bad, 0u);
    for (unsigned int size : SIZES) {
        const unsigned int total = allocator.getTotalSlots(cached.classOf(size));
        std::set<void*> seen;
        for (unsigned int i = 0; i < total; ++i)
            seen.insert(allocator.malloc(size));
        EXPECT_EQ(std::make_pair(seen.size(), allocator.getTotalSlots(cached.classOf(size))),
                  std::make_pair(std::size_t{total}, total))
            << "every slot came back once, size " << size;
    }
}

#include <foundation/CMemAllocator.h>

#include "foundation/MemTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using namespace Trell;
using namespace MemTest;

// A 32-bit build has exactly the documented layout: two 32-bit header words
// (8 bytes), 4-byte alignment, a 16-byte chunk header, an 8-byte large-block
// prefix and a 24-byte checker header plus its guard byte. A 64-bit build
// widens each word to a pointer and aligns to 16.
static_assert(sizeof(void*) != 4 || (CMemAllocator::HEADER_SIZE == 8 && CMemAllocator::ALIGN_MASK == 3 &&
                                     CMemAllocator::CHUNK_DATA_OFFSET == 16 && CMemAllocator::LARGE_BLOCK_PREFIX == 8 &&
                                     CMemAllocator::CHECKER_OVERHEAD == 25),
              "32-bit block layout");
static_assert(sizeof(void*) != 8 || (CMemAllocator::HEADER_SIZE == 16 && CMemAllocator::ALIGN_MASK == 15 &&
                                     CMemAllocator::CHUNK_DATA_OFFSET == 32 &&
                                     CMemAllocator::LARGE_BLOCK_PREFIX == 16 && CMemAllocator::CHECKER_OVERHEAD == 49),
              "64-bit block layout");

// The class table in bands of initial and growth counts and its strides, in
// exact numbers per word size. Every request up to 512 bytes (0 included)
// comes from the first class that fits it, larger ones from the system heap;
// all keep their contents and go back without a word. In front of a block
// lie two header words: word 0 names the size class (0 for a large block),
// word 1 is the header's own address XOR 0x837A46C2; a class's second block
// lies one stride after its first.
TEST(CMemAllocator, SizeClassesHeadersAndBlocksThatFitTheirRequests)
{
    CMemAllocator allocator;
    ASSERT_EQ(allocator.getClassCount(), 64u);
    struct
    {
        unsigned int requested, initial, growth;
    } const bands[] = {
        {8, 10000, 100}, {48, 10000, 100}, {56, 5000, 100}, {96, 5000, 100}, {104, 2000, 50}, {144, 2000, 50},
        {152, 1000, 50}, {192, 1000, 50},  {200, 500, 20},  {248, 500, 20},  {256, 200, 20},  {296, 200, 20},
        {304, 100, 10},  {392, 100, 10},   {400, 50, 5},    {448, 50, 5},    {456, 20, 5},    {512, 20, 5},
    };
    for (const auto& band : bands) {
        const unsigned int index = band.requested / 8 - 1;
        EXPECT_EQ(std::make_tuple(allocator.getInitialCount(index), allocator.getGrowthCount(index),
                                  allocator.getTotalSlots(index)),
                  std::make_tuple(band.initial, band.growth, 0u))
            << "requested " << band.requested << "; chunks are taken on first use only";
    }
    const bool narrow = sizeof(void*) == 4;
    struct
    {
        unsigned int index, stride32, stride64;
    } const rows[] = {{0, 16, 32}, {2, 32, 48}, {5, 56, 64}, {62, 512, 528}, {63, 520, 528}};
    for (const auto& row : rows) {
        const unsigned int stride = narrow ? row.stride32 : row.stride64;
        EXPECT_EQ(allocator.getStride(row.index), stride) << "class " << row.index;
        EXPECT_EQ(allocator.getUsableSize(row.index), stride - (narrow ? 8u : 16u)) << "class " << row.index;
    }
    // Checking mode widens every stride by the checker's overhead, so that
    // checked requests up to 512 bytes still fit a pool.
    const CMemAllocator checking(true);
    EXPECT_EQ(checking.getStride(0), narrow ? 44u : 80u) << "8 bytes + header + the checker's overhead, aligned";
    EXPECT_GE(checking.getMaxPooledSize(), 512u + CMemAllocator::CHECKER_OVERHEAD);
    EXPECT_EQ(allocator.getMaxPooledSize(), 512u);

    const std::uintptr_t alignment = sizeof(void*) == 8 ? alignof(std::max_align_t) : 4;
    std::vector<void*> blocks;
    for (unsigned int size = 0; size <= 600; ++size) {
        void* p = allocator.malloc(size);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignment, 0u) << "size " << size;
        const int cls = allocator.getBlockClass(p);
        EXPECT_EQ(allocator.findClass(size), cls) << "size " << size;
        if (size <= 512) {
            ASSERT_GE(cls, 0) << "size " << size;
            EXPECT_GE(allocator.getUsableSize(static_cast<unsigned int>(cls)), size);
            EXPECT_TRUE(cls == 0 || allocator.getUsableSize(static_cast<unsigned int>(cls - 1)) < size)
                << "first class that fits, size " << size;
        } else {
            EXPECT_EQ(cls, -1) << "size " << size;
        }
        std::memset(p, static_cast<int>(size & 0xFF), size);
        blocks.push_back(p);
    }
    // 17 and 18 bytes are the first two requests of their class.
    EXPECT_EQ(static_cast<char*>(blocks[18]) - static_cast<char*>(blocks[17]),
              static_cast<std::ptrdiff_t>(allocator.getStride(static_cast<unsigned int>(allocator.findClass(17)))));
    for (void* p : {blocks[17], blocks[600]}) {
        std::uintptr_t words[2];
        std::memcpy(words, static_cast<char*>(p) - 2 * sizeof(std::uintptr_t), sizeof(words));
        const std::uintptr_t self = reinterpret_cast<std::uintptr_t>(p) - 2 * sizeof(std::uintptr_t);
        EXPECT_EQ(words[1], self ^ std::uintptr_t{0x837A46C2u});
        EXPECT_EQ(words[0] == 0, p == blocks[600]);
    }
    const std::string out = captureStdout([&] {
        for (unsigned int size = 0; size <= 600; ++size) {
            const unsigned char* bytes = static_cast<const unsigned char*>(blocks[size]);
            for (unsigned int i = 0; i < size; ++i)
                ASSERT_EQ(bytes[i], size & 0xFF) << "block of " << size << " overwritten at " << i;
            allocator.free(blocks[size]);
        }
        allocator.free(nullptr);
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(allocator.getFreeSlotCount(0), allocator.getUsableSize(0) + 1) << "one block per size from 0";
}

// A full class grows by its growth count; a growth chunk the system heap
// refuses is warned about and the request falls back to a large block, which
// the heap refuses too.
TEST(CMemAllocator, ChunksGrowByTheInitialThenTheGrowthCount)
{
    tagHookGuard guard;
    CMemAllocator allocator;
    const unsigned int cls = static_cast<unsigned int>(allocator.findClass(500));
    const unsigned int initial = allocator.getInitialCount(cls);
    const unsigned int growth = allocator.getGrowthCount(cls);
    std::set<void*> blocks;
    for (unsigned int i = 0; i < initial; ++i)
        blocks.insert(allocator.malloc(500));

    MemTesting::failSystemHeapAfter(0);
    void* refused = reinterpret_cast<void*>(1);
    const std::string out = captureStdout([&] { refused = allocator.malloc(500); });
    // Refused twice: the chunk, then its large-block fallback.
    EXPECT_TRUE(MemTesting::getRefusedSystemHeapRequests() == 2u && refused == nullptr);
    MemTesting::failSystemHeapAfter(-1);
    EXPECT_EQ(out, "[Warning][TrellEngine] Allocate memory pool block failed (size = " +
                       std::to_string(CMemAllocator::CHUNK_DATA_OFFSET + allocator.getStride(cls) * growth) + ").\n");
    EXPECT_EQ(allocator.getTotalSlots(cls), initial);

    blocks.insert(allocator.malloc(500));
    EXPECT_EQ(allocator.getTotalSlots(cls), initial + growth);
    EXPECT_EQ(blocks.size(), initial + 1) << "every slot handed out once";
    for (void* p : blocks) {
        ASSERT_EQ(allocator.getBlockClass(p), static_cast<int>(cls));
        std::memset(p, 0x11, 500);
    }
    for (void* p : blocks)
        allocator.free(p);
    EXPECT_EQ(allocator.getFreeSlotCount(cls), initial + 1);
}

// A thread that needs the class while another takes a new chunk from the
// system heap is not kept waiting: the chunk is taken outside the class lock.
TEST(CMemAllocator, NewChunkIsTakenWithoutTheClassLock)
{
    static CMemAllocator* s_pAllocator;
    static void* s_pToFree;
    static void* s_pOther;
    static bool s_bDoneMeanwhile;
    CMemAllocator allocator;
    const unsigned int cls = static_cast<unsigned int>(allocator.findClass(480));
    std::vector<void*> blocks;
    for (unsigned int i = 0; i < allocator.getInitialCount(cls); ++i)
        blocks.push_back(allocator.malloc(480));
    s_pAllocator = &allocator;
    s_pToFree = blocks.back();
    blocks.pop_back();
    s_bDoneMeanwhile = false;
    MemTesting::setSystemHeapObserver([] {
        MemTesting::setSystemHeapObserver(nullptr);
        std::atomic<bool> done{false};
        std::thread other([&] {
            s_pOther = s_pAllocator->malloc(480);
            s_pAllocator->free(s_pToFree);
            done = true;
        });
        // Generous: only a lock held across the system call makes it wait.
        for (int i = 0; i < 5000 && !done; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        s_bDoneMeanwhile = done;
        other.join();
    });
    void* p = allocator.malloc(480);
    MemTesting::setSystemHeapObserver(nullptr);
    EXPECT_TRUE(s_bDoneMeanwhile && p != s_pOther);
    EXPECT_TRUE(allocator.getBlockClass(p) == int(cls) && allocator.getBlockClass(s_pOther) == int(cls));
    EXPECT_EQ(allocator.getTotalSlots(cls), allocator.getInitialCount(cls) + allocator.getGrowthCount(cls));
    blocks.push_back(p);
    blocks.push_back(s_pOther);
    for (void* block : blocks)
        allocator.free(block);
}

// Bad frees, with and without a thread cache: a second free of a block (in
// the class's free list or in a thread's bin), pointers of another heap and
// misaligned ones are refused with one warning each, nothing is freed or
// written and the free list behind stays intact. Pooled blocks of another
// allocator are judged foreign.
TEST(CMemAllocator, BadFreesAreRefusedAndNothingIsFreed)
{
    for (const bool threadCache : {false, true}) {
        CMemAllocator allocator;
        if (threadCache)
            MemTesting::enableThreadCache(allocator);
        std::thread([&] {
            const unsigned int cls = static_cast<unsigned int>(allocator.findClass(24));
            void* kept = allocator.malloc(24);
            void* p = allocator.malloc(24);
            MemTesting::flushThreadCache();
            const unsigned int onList = allocator.getFreeSlotCount(cls);
            allocator.free(kept);
            allocator.free(p);
            // A block of another heap, with room for a would-be header before it.
            unsigned char* foreign = static_cast<unsigned char*>(std::calloc(1, 128));
            ASSERT_NE(foreign, nullptr);
            int local = 0;
            const std::string out = captureStdout([&] {
                allocator.free(p);
                allocator.free(kept);
                allocator.free(foreign + 64);
                allocator.free(foreign + 67);
                allocator.free(&local);
            });
            EXPECT_EQ(out, invalidPointerWarning(p) + invalidPointerWarning(kept) +
                               invalidPointerWarning(foreign + 64) + invalidPointerWarning(foreign + 67) +
                               invalidPointerWarning(&local))
                << threadCache;
            EXPECT_EQ(std::count(foreign, foreign + 128, 0), 128) << "the foreign block was not touched";
            EXPECT_EQ(allocator.getBlockClass(foreign + 64), -2);
            std::free(foreign);
            EXPECT_EQ(MemTesting::getThreadCacheCount(allocator, cls), threadCache ? 2u : 0u);
            EXPECT_EQ(allocator.getFreeSlotCount(cls), onList + (threadCache ? 0u : 2u)) << threadCache;
            EXPECT_EQ(allocator.malloc(24), p) << threadCache;
            EXPECT_EQ(allocator.malloc(24), kept) << "the list behind it is intact, " << threadCache;
            void* fresh = allocator.malloc(24);
            EXPECT_TRUE(fresh != p && fresh != kept);
            CMemAllocator other;
            void* others = other.malloc(64);
            EXPECT_EQ(allocator.getBlockClass(others), -2);
            other.free(others);
        }).join();
    }
}

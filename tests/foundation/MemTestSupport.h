#pragma once

// Pieces shared by the memory tests.

#include "foundation/MemTesting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace MemTest {

// Everything the memory code prints goes to standard output.
template <class F>
std::string captureStdout(F&& f)
{
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}

// Disarms both failure hooks however a test ends.
struct tagHookGuard
{
    ~tagHookGuard()
    {
        Trell::MemTesting::failSystemHeapAfter(-1);
        Trell::MemTesting::failAllocationsAfter(-1);
    }
};

// Two threads of random allocations and frees, each holding up to maxLive
// blocks. Every block is filled with a pattern of its thread and size and
// checked in full before it is freed. Returns the number of failed
// allocations plus damaged blocks.
template <class TSize, class TAlloc, class TFree>
int twoThreadsOfTraffic(int operations, std::size_t maxLive, TSize sizeOf, TAlloc alloc, TFree release)
{
    std::atomic<int> bad{0};
    auto worker = [&](unsigned int seed) {
        std::mt19937 random(seed);
        std::vector<std::pair<unsigned char*, unsigned int>> live;
        for (int i = 0; i < operations || !live.empty(); ++i) {
            if (i < operations && (live.empty() || (live.size() < maxLive && random() % 2 == 0))) {
                const unsigned int size = sizeOf(random);
                unsigned char* p = static_cast<unsigned char*>(alloc(size, random));
                if (p) {
                    std::memset(p, static_cast<int>((seed + size) & 0xFF), size);
                    live.emplace_back(p, size);
                }
                bad += p == nullptr;
                continue;
            }
            const std::size_t at = random() % live.size();
            auto [p, size] = live[at];
            // All bytes equal the first, and the first is the pattern.
            bad += size && (p[0] != static_cast<unsigned char>(seed + size) || std::memcmp(p, p + 1, size - 1) != 0);
            release(p);
            live[at] = live.back();
            live.pop_back();
        }
    };
    std::thread first(worker, 3u);
    worker(101u);
    first.join();
    return bad.load();
}

// The allocator's warning for a pointer it refuses to free.
inline std::string invalidPointerWarning(const void* p)
{
    char line[160];
    std::snprintf(line, sizeof(line),
                  "[Warning][TrellEngine] Free(0x%" PRIxPTR "): Invalid Pointer, Maybe it had been freed or crashed.\n",
                  reinterpret_cast<std::uintptr_t>(p));
    return line;
}

// The checker's warning for a block it refuses or finds damaged.
inline std::string freeWarning(const void* p, const char* className, const char* what)
{
    char address[32];
    std::snprintf(address, sizeof(address), "%zX", static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(p)));
    return std::string("[Warning][TrellEngine] Free(0x") + address + ")" + className + ": " + what + "\n";
}

} // namespace MemTest

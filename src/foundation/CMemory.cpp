#include <foundation/CMemory.h>

#include <foundation/CMemManager.h>

#include "MemAllocator.h"
#include "MemInternal.h"
#include "MemTesting.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace Trell {

CMemory::CMemory() = default;
CMemory::CMemory(const CMemory&) = default;
CMemory::~CMemory() = default;

namespace {

// Out of line, so that the direct paths below stay leaf functions that need
// no stack frame: a miss in the thread's cache (refill or flush under one
// lock), then the manager's full path.
__attribute__((noinline)) void* mallocMiss(unsigned int size, unsigned int classId)
{
    if (CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed)) {
        if (void* p = MemInternal::CThreadCache::take(*allocator, size))
            return p;
    }
    if (!MemInternal::isActive())
        return std::malloc(size);
    return MemInternal::g_pManager->malloc(size, classId);
}

__attribute__((noinline)) void freeMiss(void* p)
{
    if (CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed)) {
        if (MemInternal::CThreadCache::put(*allocator, p))
            return;
    }
    if (MemInternal::isActive())
        MemInternal::g_pManager->free(p);
    else
        std::free(p);
}

} // namespace

// Without a checker the common case (a slot in the calling thread's cache)
// is handled right here without a lock; refills and flushes cost one lock
// per batch, and everything else takes the manager's full path.
void* CMemory::malloc(unsigned int size, unsigned int classId)
{
    if (CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed)) {
        if (void* p = allocator->popCached(size))
            return p;
    }
    return mallocMiss(size, classId);
}

void CMemory::free(void* p)
{
    CMemAllocator* allocator = MemInternal::g_pFastAllocator.load(std::memory_order_relaxed);
    if (!allocator || !allocator->pushCached(p))
        freeMiss(p);
}

unsigned int CMemory::registClassName(const char16_t* name)
{
    if (!MemInternal::CHECKING_MODE || !MemInternal::isActive())
        return 0;
    return MemInternal::g_pManager->registClassName(name);
}

void* CMemory::classMalloc(std::size_t size, std::atomic<unsigned int>& classId,
                           const char16_t* name) noexcept
{
    if (size > UINT_MAX)
        return nullptr;
    unsigned int id = classId.load(std::memory_order_relaxed);
    if (id == 0 && MemInternal::CHECKING_MODE) {
        id = registClassName(name);
        classId.store(id, std::memory_order_relaxed);
    }
    return malloc(static_cast<unsigned int>(size), id);
}

namespace MemInternal {

namespace {

// Test hook state: requests still to grant before refusing (negative: the
// hook is off) and refusals still to make (negative: unlimited). Only tests
// arm it, from one thread, so a plain mutex-free protocol is enough.
std::atomic<int> g_iGrantBudget{-1};
std::atomic<int> g_iRefusalBudget{-1};
std::atomic<unsigned int> g_uiRefusedRequests{0};

bool refuseByHook() noexcept
{
    int grants = g_iGrantBudget.load(std::memory_order_relaxed);
    if (grants < 0)
        return false;
    if (grants > 0) {
        g_iGrantBudget.store(grants - 1, std::memory_order_relaxed);
        return false;
    }
    const int refusals = g_iRefusalBudget.load(std::memory_order_relaxed);
    if (refusals == 0) {
        g_iGrantBudget.store(-1, std::memory_order_relaxed);
        return false;
    }
    if (refusals > 0)
        g_iRefusalBudget.store(refusals - 1, std::memory_order_relaxed);
    g_uiRefusedRequests.fetch_add(1, std::memory_order_relaxed);
    return true;
}

} // namespace

void* systemMalloc(std::size_t size) noexcept
{
    if (refuseByHook())
        return nullptr;
    return std::malloc(size);
}

void systemFree(void* p) noexcept
{
    std::free(p);
}

void consoleWrite(const char* text, std::size_t length) noexcept
{
    std::fwrite(text, 1, length, stdout);
    std::fflush(stdout);
}

void consolePrintf(const char* format, ...) noexcept
{
    char line[512];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    if (length < 0)
        return;
    consoleWrite(line, static_cast<std::size_t>(length) < sizeof(line) ? static_cast<std::size_t>(length)
                                                                       : sizeof(line) - 1);
}

std::size_t appendUtf8(char* out, std::size_t size, std::size_t length, const char16_t* text) noexcept
{
    if (!text || size == 0)
        return length;
    for (std::size_t i = 0; text[i] != 0; ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD;
        }
        char bytes[4];
        std::size_t count;
        if (c < 0x80) {
            bytes[0] = static_cast<char>(c);
            count = 1;
        } else if (c < 0x800) {
            bytes[0] = static_cast<char>(0xC0 | (c >> 6));
            bytes[1] = static_cast<char>(0x80 | (c & 0x3F));
            count = 2;
        } else if (c < 0x10000) {
            bytes[0] = static_cast<char>(0xE0 | (c >> 12));
            bytes[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes[2] = static_cast<char>(0x80 | (c & 0x3F));
            count = 3;
        } else {
            bytes[0] = static_cast<char>(0xF0 | (c >> 18));
            bytes[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            bytes[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes[3] = static_cast<char>(0x80 | (c & 0x3F));
            count = 4;
        }
        if (length + count >= size)
            break;
        for (std::size_t b = 0; b < count; ++b)
            out[length++] = bytes[b];
    }
    out[length] = 0;
    return length;
}

} // namespace MemInternal

namespace MemTesting {

void failSystemHeapAfter(int count, int failures)
{
    MemInternal::g_uiRefusedRequests.store(0, std::memory_order_relaxed);
    MemInternal::g_iRefusalBudget.store(failures < 0 ? -1 : failures, std::memory_order_relaxed);
    MemInternal::g_iGrantBudget.store(count < 0 ? -1 : count, std::memory_order_relaxed);
}

unsigned int getRefusedSystemHeapRequests()
{
    return MemInternal::g_uiRefusedRequests.load(std::memory_order_relaxed);
}

} // namespace MemTesting

} // namespace Trell

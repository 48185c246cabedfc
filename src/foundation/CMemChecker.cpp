#include <foundation/CMemChecker.h>

#include <foundation/CMemAllocator.h>

#include "Console.h"
#include "MemInternal.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace Trell {

static_assert(CMemChecker::CHECK_OVERHEAD == CMemAllocator::CHECKER_OVERHEAD,
              "the allocator's strides must reserve the checker's overhead");

struct CMemChecker::tagCheckHeader
{
    TRELL_DECLARE_ALLOCATOR(u"CMemChecker::tagCheckHeader")

    std::uintptr_t uCheck;
    tagCheckHeader* pNext;     // older block
    tagCheckHeader* pPrevious; // newer block
    std::uintptr_t uSize;
    std::uintptr_t uClassId;
    std::uintptr_t uSelf;
};
static_assert(sizeof(std::uintptr_t) * 6 == CMemChecker::HEADER_SIZE, "checker header size");

namespace {

using tagCheckHeader = CMemChecker::tagCheckHeader;

// A freed block may sit in a slot the allocator has poisoned again, and a
// corrupted list may point anywhere: the header words are read without
// sanitizer instrumentation because judging them is this class's job.
struct tagHeaderWords
{
    TRELL_DECLARE_ALLOCATOR(u"tagHeaderWords")

    std::uintptr_t uCheck;
    std::uintptr_t uNext;
    std::uintptr_t uPrevious;
    std::uintptr_t uSize;
    std::uintptr_t uClassId;
    std::uintptr_t uSelf;
};

tagHeaderWords readHeader(const tagCheckHeader* header)
{
    tagHeaderWords words;
    MemInternal::readUnchecked(header, &words, sizeof(words));
    return words;
}

unsigned char readGuard(const tagCheckHeader* header, std::uintptr_t size)
{
    unsigned char guard;
    MemInternal::readUnchecked(reinterpret_cast<const char*>(header + 1) + size, &guard, 1);
    return guard;
}

inline std::uintptr_t linkCheck(std::uintptr_t next, std::uintptr_t previous)
{
    return (next + previous) ^ CMemChecker::CHECK_KEY;
}

inline std::uintptr_t selfCheck(const tagCheckHeader* header)
{
    return reinterpret_cast<std::uintptr_t>(header) ^ CMemChecker::CHECK_KEY;
}

inline void relink(tagCheckHeader* header)
{
    header->uCheck =
        linkCheck(reinterpret_cast<std::uintptr_t>(header->pNext), reinterpret_cast<std::uintptr_t>(header->pPrevious));
}

enum EBlockState
{
    BLOCK_FINE,
    BLOCK_OVERFLOWED,
    BLOCK_FREED,
    BLOCK_BROKEN,
};

EBlockState judge(const tagCheckHeader* header)
{
    const tagHeaderWords words = readHeader(header);
    const std::uintptr_t x = (words.uPrevious + words.uNext) ^ words.uCheck;
    if (x == CMemChecker::FREED_MARK)
        return BLOCK_FREED;
    if (x != CMemChecker::CHECK_KEY || words.uSelf != selfCheck(header))
        return BLOCK_BROKEN;
    return readGuard(header, words.uSize) == CMemChecker::GUARD_BYTE ? BLOCK_FINE : BLOCK_OVERFLOWED;
}

// The list walk shared by the heap check and the report: visits every block
// from the newest, skipping freed-marked ones. Returns false when it stopped
// at a broken block followed by another block that is neither valid nor
// freed-marked (the list cannot be trusted beyond it).
template <class Visit>
bool walkBlocks(tagCheckHeader* head, Visit visit)
{
    for (tagCheckHeader* header = head; header;) {
        const EBlockState state = judge(header);
        tagCheckHeader* next = reinterpret_cast<tagCheckHeader*>(readHeader(header).uNext);
        visit(header, state);
        if (state == BLOCK_BROKEN && next) {
            const EBlockState nextState = judge(next);
            if (nextState == BLOCK_BROKEN)
                return false;
        }
        header = next;
    }
    return true;
}

// Local date and time with milliseconds.
struct tagReportTime
{
    TRELL_DECLARE_ALLOCATOR(u"CMemChecker::tagReportTime")

    std::tm local;
    int iMilliseconds;
};

tagReportTime reportTime()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    tagReportTime time{};
    time.iMilliseconds =
        static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000);
#if defined(_WIN32)
    localtime_s(&time.local, &seconds);
#else
    localtime_r(&seconds, &time.local);
#endif
    return time;
}

int compareNames(const char16_t* a, const char16_t* b)
{
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return static_cast<int>(*a) - static_cast<int>(*b);
}

} // namespace

// Writes the report's text: UTF-16 little-endian units to the file, or to
// the console when there is no file. It allocates nothing, so the report
// stays honest about a heap it may be reporting as broken.
class CMemChecker::CReportWriter
{
    TRELL_DECLARE_ALLOCATOR(u"CMemChecker::CReportWriter")

public:
    explicit CReportWriter(std::FILE* file) : m_pFile(file) {}
    ~CReportWriter() { flush(true); }
    CReportWriter(const CReportWriter&) = delete;
    CReportWriter& operator=(const CReportWriter&) = delete;

    // ASCII text formatted with printf.
    void format(const char* format, ...) __attribute__((format(printf, 2, 3)))
    {
        char line[256];
        va_list args;
        va_start(args, format);
        const int length = std::vsnprintf(line, sizeof(line), format, args);
        va_end(args);
        for (int i = 0; i < length && i + 1 < static_cast<int>(sizeof(line)); ++i)
            put(static_cast<unsigned char>(line[i]));
    }

    void text(const char16_t* text)
    {
        for (; text && *text; ++text)
            put(*text);
    }

private:
    void put(char16_t unit)
    {
        if (m_uiUsed == BUFFER_UNITS)
            flush(false);
        m_units[m_uiUsed++] = unit;
    }

    // The console takes whole characters: a high surrogate at the end waits
    // for its partner unless this is the last flush.
    void flush(bool last)
    {
        unsigned int count = m_uiUsed;
        if (m_pFile) {
            unsigned char bytes[BUFFER_UNITS * 2];
            for (unsigned int i = 0; i < count; ++i) {
                bytes[2 * i] = static_cast<unsigned char>(m_units[i] & 0xFF);
                bytes[2 * i + 1] = static_cast<unsigned char>(m_units[i] >> 8);
            }
            std::fwrite(bytes, 1, count * 2, m_pFile);
        } else {
            if (!last && count && m_units[count - 1] >= 0xD800 && m_units[count - 1] <= 0xDBFF)
                --count;
            Console::writeUtf16(m_units, count);
        }
        m_uiUsed -= count;
        if (m_uiUsed)
            m_units[0] = m_units[count];
    }

    static constexpr unsigned int BUFFER_UNITS = 256;
    std::FILE* m_pFile;
    unsigned int m_uiUsed = 0;
    char16_t m_units[BUFFER_UNITS];
};

// ---- CAutoLocker -------------------------------------------------------------

CMemChecker::CAutoLocker::CAutoLocker(CMemChecker& checker, bool raiseDepth)
    : m_pChecker(&checker), m_bRaised(raiseDepth)
{
    m_pChecker->m_lock.lock();
    if (m_bRaised)
        ++m_pChecker->m_uiDepth;
}

CMemChecker::CAutoLocker::~CAutoLocker()
{
    if (m_bRaised)
        --m_pChecker->m_uiDepth;
    m_pChecker->m_lock.unlock();
}

CMemChecker::CAutoLocker::CAutoLocker(const CAutoLocker& other) : m_pChecker(other.m_pChecker), m_bRaised(false)
{
    m_pChecker->m_lock.lock();
}

CMemChecker::CAutoLocker& CMemChecker::CAutoLocker::operator=(const CAutoLocker&)
{
    return *this;
}

// ---- CMemChecker -------------------------------------------------------------

CMemChecker::CMemChecker(CMemAllocator* allocator)
    : m_pAllocator(allocator), m_szReportFile{}, m_uiReportCount(0), m_pHead(nullptr), m_uiInvalidFreeCount(0),
      m_lock(), m_uiDepth(0), m_uiCachedId(0), m_pCachedName(nullptr), m_ppNames(nullptr), m_uiNameCount(0),
      m_uiNameCapacity(0), m_uiScanCursor(0)
{}

CMemChecker::CMemChecker(const CMemChecker& other) : CMemChecker(other.m_pAllocator)
{}

CMemChecker& CMemChecker::operator=(const CMemChecker&)
{
    return *this;
}

CMemChecker::~CMemChecker()
{
    for (unsigned int i = 0; i < m_uiNameCount; ++i)
        std::free(m_ppNames[i]);
    std::free(m_ppNames);
}

void* CMemChecker::malloc(unsigned int size, unsigned int classId)
{
    CAutoLocker locker(*this, false);
    if (m_uiDepth != 0)
        return std::malloc(size);
    if (size > UINT32_MAX - CHECK_OVERHEAD)
        return nullptr;
    void* raw = m_pAllocator ? m_pAllocator->malloc(size + CHECK_OVERHEAD)
                             : MemInternal::systemMalloc(static_cast<std::size_t>(size) + CHECK_OVERHEAD);
    if (!raw)
        return nullptr;
    tagCheckHeader* header = static_cast<tagCheckHeader*>(raw);
    header->pPrevious = nullptr;
    header->pNext = m_pHead;
    if (m_pHead) {
        m_pHead->pPrevious = header;
        relink(m_pHead);
    }
    relink(header);
    header->uSelf = selfCheck(header);
    header->uSize = size;
    header->uClassId = classId;
    reinterpret_cast<unsigned char*>(header + 1)[size] = GUARD_BYTE;
    m_pHead = header;
    return header + 1;
}

void CMemChecker::free(void* p)
{
    if (!p)
        return;
    CAutoLocker locker(*this, false);
    if (m_uiDepth != 0) {
        std::free(p);
        return;
    }
    tagCheckHeader* header = static_cast<tagCheckHeader*>(p) - 1;
    const tagHeaderWords words = readHeader(header);
    const std::uintptr_t x = (words.uPrevious + words.uNext) ^ words.uCheck;
    if (x == FREED_MARK) {
        ++m_uiInvalidFreeCount;
        reportInvalidFree(p, static_cast<unsigned int>(words.uClassId),
                          u"Invalid Pointer. Block had been freed before!");
        return;
    }
    if (x != CHECK_KEY || words.uSelf != selfCheck(header)) {
        ++m_uiInvalidFreeCount;
        reportInvalidFree(p, 0, u"Invalid Pointer. Maybe Block had been freed or crashed!");
        return;
    }
    if (readGuard(header, words.uSize) != GUARD_BYTE) {
        ++m_uiInvalidFreeCount;
        reportInvalidFree(p, static_cast<unsigned int>(words.uClassId), u"Block was overflow!");
    }
    if (header->pNext) {
        header->pNext->pPrevious = header->pPrevious;
        relink(header->pNext);
    }
    if (header->pPrevious) {
        header->pPrevious->pNext = header->pNext;
        relink(header->pPrevious);
    } else {
        m_pHead = header->pNext;
    }
    header->pNext = nullptr;
    header->pPrevious = nullptr;
    header->uCheck = FREED_MARK;
    header->uSelf = FREED_MARK;
    if (m_pAllocator)
        m_pAllocator->free(header);
    else
        MemInternal::systemFree(header);
}

// Called under the lock.
void CMemChecker::reportInvalidFree(const void* p, unsigned int classId, const char16_t* what)
{
    CAutoLocker locker(*this, true);
    const char16_t* name = classId ? findClassName(classId) : nullptr;
    const std::size_t address = reinterpret_cast<std::uintptr_t>(p);
    char text[3 * REPORT_PATH_LENGTH];
    const std::size_t whatLength = Console::appendUtf8(text, sizeof(text), 0, what);
    if (name) {
        Console::appendUtf8(text, sizeof(text), whatLength + 1, name);
        Console::printf("[Warning][TrellEngine] Free(0x%zX)<%s>: %s\n", address, text + whatLength + 1, text);
    } else {
        Console::printf("[Warning][TrellEngine] Free(0x%zX): %s\n", address, text);
    }
}

unsigned int CMemChecker::registClassName(const char16_t* name)
{
    if (!name)
        return 0;
    CAutoLocker locker(*this, true);
    if (m_uiDepth > 1)
        return 0;
    for (unsigned int n = 0; n < m_uiNameCount; ++n) {
        const unsigned int index = (m_uiScanCursor + n) % m_uiNameCount;
        const char16_t* a = m_ppNames[index];
        const char16_t* b = name;
        while (*a && *a == *b) {
            ++a;
            ++b;
        }
        if (*a == *b) {
            m_uiScanCursor = index;
            return index + 1;
        }
    }
    if (m_uiNameCount == m_uiNameCapacity) {
        const unsigned int capacity = m_uiNameCapacity ? m_uiNameCapacity * 2 : 64;
        void* grown = std::realloc(m_ppNames, sizeof(char16_t*) * capacity);
        if (!grown)
            return 0;
        m_ppNames = static_cast<char16_t**>(grown);
        m_uiNameCapacity = capacity;
    }
    std::size_t length = 0;
    while (name[length])
        ++length;
    char16_t* copy = static_cast<char16_t*>(std::malloc(sizeof(char16_t) * (length + 1)));
    if (!copy)
        return 0;
    std::memcpy(copy, name, sizeof(char16_t) * (length + 1));
    m_ppNames[m_uiNameCount] = copy;
    m_uiScanCursor = m_uiNameCount;
    return ++m_uiNameCount;
}

const char16_t* CMemChecker::findClassName(unsigned int classId)
{
    if (classId == 0 || classId > m_uiNameCount)
        return nullptr;
    if (classId != m_uiCachedId) {
        m_uiCachedId = classId;
        m_pCachedName = m_ppNames[classId - 1];
    }
    return m_pCachedName;
}

const char16_t* CMemChecker::getClassName(unsigned int classId)
{
    CAutoLocker locker(*this, false);
    return findClassName(classId);
}

unsigned int CMemChecker::getRegisteredCount()
{
    CAutoLocker locker(*this, false);
    return m_uiNameCount;
}

void CMemChecker::setMemReportFile(const char16_t* path)
{
    CAutoLocker locker(*this, false);
    unsigned int i = 0;
    for (; path && path[i] && i + 1 < REPORT_PATH_LENGTH; ++i)
        m_szReportFile[i] = path[i];
    m_szReportFile[i] = 0;
}

void CMemChecker::getMemReportFile(char16_t* out)
{
    CAutoLocker locker(*this, false);
    std::memcpy(out, m_szReportFile, sizeof(m_szReportFile));
}

CMemChecker::EHeapState CMemChecker::checkHeapLocked(unsigned int* errorCount)
{
    unsigned int errors = 0;
    const bool intact = walkBlocks(m_pHead, [&errors](tagCheckHeader*, EBlockState state) {
        if (state == BLOCK_OVERFLOWED || state == BLOCK_BROKEN)
            ++errors;
    });
    if (errorCount)
        *errorCount = errors;
    if (!intact)
        return HEAP_CRASHED;
    return errors ? HEAP_ERRORS : HEAP_CLEAN;
}

CMemChecker::EHeapState CMemChecker::checkHeap(unsigned int* errorCount)
{
    CAutoLocker locker(*this, false);
    return checkHeapLocked(errorCount);
}

unsigned int CMemChecker::getLiveBlockCount()
{
    CAutoLocker locker(*this, false);
    unsigned int count = 0;
    walkBlocks(m_pHead, [&count](tagCheckHeader*, EBlockState state) {
        if (state != BLOCK_BROKEN)
            ++count;
    });
    return count;
}

unsigned int CMemChecker::getInvalidFreeCount()
{
    CAutoLocker locker(*this, false);
    return m_uiInvalidFreeCount;
}

unsigned int CMemChecker::getReportCount()
{
    CAutoLocker locker(*this, false);
    return m_uiReportCount;
}

void CMemChecker::resetReportState()
{
    CAutoLocker locker(*this, false);
    m_uiReportCount = 0;
    m_uiInvalidFreeCount = 0;
}

void CMemChecker::generateMemReportFile()
{
    // Everything the report allocates (strings, the statistics map) bypasses
    // checking while the depth is raised.
    CAutoLocker locker(*this, true);

    std::FILE* file = nullptr;
    if (m_szReportFile[0]) {
        char path[REPORT_PATH_LENGTH * 3 + 1];
        Console::appendUtf8(path, sizeof(path), 0, m_szReportFile);
        file = std::fopen(path, m_uiReportCount == 0 ? "wb" : "ab+");
    }
    ++m_uiReportCount;

    {
        CReportWriter out(file);
        const tagReportTime now = reportTime();
        out.format("--- Report_%.4d at %04d-%02d-%02d %02d:%02d:%02d.%03d ---\n", static_cast<int>(m_uiReportCount),
                   now.local.tm_year + 1900, now.local.tm_mon + 1, now.local.tm_mday, now.local.tm_hour,
                   now.local.tm_min, now.local.tm_sec, now.iMilliseconds);

        unsigned int errors = 0;
        const EHeapState state = checkHeapLocked(&errors);
        if (state == HEAP_CRASHED)
            out.format("[Warning][TrellEngine] Heap was crashed! Please check this issue ASAP.\n");
        else if (state == HEAP_ERRORS)
            out.format("[Warning][TrellEngine] %u block error was detected!\n", errors);
        if (m_uiInvalidFreeCount > 0)
            out.format("[Warning][TrellEngine] Tried to free invalid pointer %u times! Please check the log on "
                       "terminal.\n",
                       m_uiInvalidFreeCount);
        writeStatistics(out);
    }
    if (file)
        std::fclose(file);
}

// Per-class lines: live blocks counted per class identifier (0 for blocks of
// no registered class), then one row per name in ascending order. Names are
// unique, and unregistered blocks have the empty name, which sorts first.
void CMemChecker::writeStatistics(CReportWriter& out)
{
    const unsigned int slots = m_uiNameCount + 1;
    tagClassState* states = static_cast<tagClassState*>(std::calloc(slots, sizeof(tagClassState)));
    unsigned int* order = static_cast<unsigned int*>(std::malloc(slots * sizeof(unsigned int)));
    if (!states || !order) {
        std::free(states);
        std::free(order);
        out.format("All objects have been freed.\n");
        return;
    }
    walkBlocks(m_pHead, [&](tagCheckHeader* header, EBlockState blockState) {
        if (blockState == BLOCK_BROKEN || blockState == BLOCK_FREED)
            return;
        const tagHeaderWords words = readHeader(header);
        // An unknown identifier or an empty name counts as unregistered.
        const char16_t* name = findClassName(static_cast<unsigned int>(words.uClassId));
        const unsigned int id = name && *name ? static_cast<unsigned int>(words.uClassId) : 0;
        states[id].uiInstanceCount += 1;
        states[id].uiTotalSize += static_cast<unsigned int>(words.uSize);
    });
    unsigned int rows = 0;
    for (unsigned int id = 0; id < slots; ++id) {
        if (states[id].uiInstanceCount)
            order[rows++] = id;
    }
    std::sort(order, order + rows, [this](unsigned int a, unsigned int b) {
        return a != b && (a == 0 || (b != 0 && compareNames(m_ppNames[a - 1], m_ppNames[b - 1]) < 0));
    });
    if (rows == 0) {
        out.format("All objects have been freed.\n");
    } else {
        out.format("\"ClassName\",\"InstanceCount\",\"TotalSize\"\n");
        for (unsigned int row = 0; row < rows; ++row) {
            const unsigned int id = order[row];
            if (id == 0) {
                out.format("\"<UnregisteredClass or MetaType>\",\"%u\",\"%u\"\n", states[id].uiInstanceCount,
                           states[id].uiTotalSize);
            } else {
                out.format("\"");
                out.text(m_ppNames[id - 1]);
                out.format("\",\"%u\",\"%u\"\n", states[id].uiInstanceCount, states[id].uiTotalSize);
            }
        }
    }
    std::free(states);
    std::free(order);
}

} // namespace Trell

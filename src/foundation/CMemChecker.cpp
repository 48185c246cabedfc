#include <foundation/CMemChecker.h>

#include <foundation/CCompare.h>
#include <foundation/CMemAllocator.h>
#include <foundation/CObjectMap.h>
#include <system/CTime.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "MemInternal.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Trell {

static_assert(CMemChecker::CHECK_OVERHEAD == CMemAllocator::CHECKER_OVERHEAD,
              "the allocator's strides must reserve the checker's overhead");

struct CMemChecker::tagCheckHeader
{
    TRELL_DECLARE_ALLOCATOR(u"CMemChecker::tagCheckHeader")

    std::uintptr_t uCheck;
    tagCheckHeader* pNext;      // older block
    tagCheckHeader* pPrevious;  // newer block
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
    header->uCheck = linkCheck(reinterpret_cast<std::uintptr_t>(header->pNext),
                               reinterpret_cast<std::uintptr_t>(header->pPrevious));
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

// Writes one report line: UTF-16 little-endian units to the file, or UTF-8
// to the console when there is no file.
void writeLine(std::FILE* file, const CString& line)
{
    if (!file) {
        CStringConverter::printf(u"%ls", line.buffer() ? line.buffer() : u"");
        return;
    }
    const char16_t* text = line.buffer();
    unsigned char bytes[256];
    unsigned int used = 0;
    for (unsigned int i = 0; i < line.length(); ++i) {
        bytes[used++] = static_cast<unsigned char>(text[i] & 0xFF);
        bytes[used++] = static_cast<unsigned char>(text[i] >> 8);
        if (used == sizeof(bytes)) {
            std::fwrite(bytes, 1, used, file);
            used = 0;
        }
    }
    if (used)
        std::fwrite(bytes, 1, used, file);
}

} // namespace

// ---- CAutoLocker -------------------------------------------------------------

CMemChecker::CAutoLocker::CAutoLocker(CMemChecker& checker, bool raiseDepth)
    : m_pChecker(&checker), m_bRaised(raiseDepth)
{
    m_pChecker->m_pSyncObject->lock();
    if (m_bRaised)
        ++m_pChecker->m_uiDepth;
}

CMemChecker::CAutoLocker::~CAutoLocker()
{
    if (m_bRaised)
        --m_pChecker->m_uiDepth;
    m_pChecker->m_pSyncObject->unlock();
}

CMemChecker::CAutoLocker::CAutoLocker(const CAutoLocker& other)
    : m_pChecker(other.m_pChecker), m_bRaised(false)
{
    m_pChecker->m_pSyncObject->lock();
}

CMemChecker::CAutoLocker& CMemChecker::CAutoLocker::operator=(const CAutoLocker&)
{
    return *this;
}

// ---- CMemChecker -------------------------------------------------------------

CMemChecker::CMemChecker(CMemAllocator* allocator)
    : m_pAllocator(allocator), m_szReportFile{}, m_uiReportCount(0), m_pHead(nullptr), m_uiInvalidFreeCount(0),
      m_syncObject(), m_pSyncObject(&m_syncObject), m_uiDepth(0), m_uiCachedId(0), m_pCachedName(nullptr),
      m_ppNames(nullptr), m_uiNameCount(0), m_uiNameCapacity(0), m_uiScanCursor(0)
{
}

CMemChecker::CMemChecker(const CMemChecker& other) : CMemChecker(other.m_pAllocator)
{
}

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
        reportInvalidFree(p, static_cast<unsigned int>(words.uClassId), u"Invalid Pointer. Block had been freed before!");
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

// Called under the lock; the formatter's own allocations bypass checking.
void CMemChecker::reportInvalidFree(const void* p, unsigned int classId, const char16_t* what)
{
    CAutoLocker locker(*this, true);
    const char16_t* name = classId ? findClassName(classId) : nullptr;
    const std::size_t address = reinterpret_cast<std::uintptr_t>(p);
    if (name)
        CStringConverter::printf(u"[Warning][TrellEngine] Free(0x%zX)<%ls>: %ls\n", address, name, what);
    else
        CStringConverter::printf(u"[Warning][TrellEngine] Free(0x%zX): %ls\n", address, what);
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

void CMemChecker::setMemReportFile(const CString& path)
{
    CAutoLocker locker(*this, false);
    const char16_t* text = path.buffer();
    unsigned int i = 0;
    for (; text && i < path.length() && i + 1 < REPORT_PATH_LENGTH; ++i)
        m_szReportFile[i] = text[i];
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
        MemInternal::appendUtf8(path, sizeof(path), 0, m_szReportFile);
        file = std::fopen(path, m_uiReportCount == 0 ? "wb" : "ab+");
    }
    ++m_uiReportCount;

    const CTime now = CTime::getCurrentTime();
    writeLine(file, CStringConverter::format(u"--- Report_%.4d at %04d-%02d-%02d %02d:%02d:%02d.%03d ---\n",
                                             static_cast<int>(m_uiReportCount), now.getYear(), now.getMonth(),
                                             now.getDay(), now.getHour(), now.getMinute(), now.getSecond(),
                                             now.getMilliseconds()));

    unsigned int errors = 0;
    const EHeapState state = checkHeapLocked(&errors);
    if (state == HEAP_CRASHED)
        writeLine(file, CString(u"[Warning][TrellEngine] Heap was crashed! Please check this issue ASAP.\n"));
    else if (state == HEAP_ERRORS)
        writeLine(file, CStringConverter::format(u"[Warning][TrellEngine] %u block error was detected!\n", errors));
    if (m_uiInvalidFreeCount > 0)
        writeLine(file, CStringConverter::format(
                            u"[Warning][TrellEngine] Tried to free invalid pointer %u times! Please check the log on terminal.\n",
                            m_uiInvalidFreeCount));

    CObjectMap<CString, tagClassState, tagStringCompare> statistics(true);
    bool complete = true;
    walkBlocks(m_pHead, [&](tagCheckHeader* header, EBlockState blockState) {
        if (blockState == BLOCK_BROKEN || blockState == BLOCK_FREED || !complete)
            return;
        const tagHeaderWords words = readHeader(header);
        const char16_t* name = findClassName(static_cast<unsigned int>(words.uClassId));
        const CString key(name ? name : u"");
        tagClassState* entry = statistics.find(key);
        if (!entry) {
            entry = new tagClassState{0, 0};
            if (!entry || !statistics.insert(key, entry)) {
                delete entry;
                complete = false;
                return;
            }
        }
        entry->uiInstanceCount += 1;
        entry->uiTotalSize += static_cast<unsigned int>(words.uSize);
    });

    if (statistics.getCount() == 0) {
        writeLine(file, CString(u"All objects have been freed.\n"));
    } else {
        writeLine(file, CString(u"\"ClassName\",\"InstanceCount\",\"TotalSize\"\n"));
        for (auto& entry : statistics) {
            if (entry.key.length() == 0)
                writeLine(file, CStringConverter::format(u"\"<UnregisteredClass or MetaType>\",\"%u\",\"%u\"\n",
                                                         entry.value->uiInstanceCount, entry.value->uiTotalSize));
            else
                writeLine(file, CStringConverter::format(u"\"%ls\",\"%u\",\"%u\"\n", entry.key.buffer(),
                                                         entry.value->uiInstanceCount, entry.value->uiTotalSize));
        }
    }
    if (file)
        std::fclose(file);
}

} // namespace Trell

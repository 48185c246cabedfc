#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <mutex>

namespace Trell {

class CMemAllocator;

// Per-class line of the memory report.
struct ECS_API tagClassState
{
    TRELL_DECLARE_ALLOCATOR(u"tagClassState")

    unsigned int uiInstanceCount;
    unsigned int uiTotalSize;
};

// The allocation checker of checking mode. It puts its own header in front of
// every block (asking the allocator for CHECK_OVERHEAD more bytes) and a
// guard byte after it, keeps every live block on a doubly linked list whose
// links are protected by check words, counts frees of invalid pointers and
// writes the memory report.
//
// Checker header, immediately before the memory handed out, six words
// (32-bit words on 32-bit targets, 24 bytes; pointer-sized on 64-bit, 48
// bytes, which keeps blocks 16-byte aligned):
//   0: (next + previous) XOR CHECK_KEY while live; FREED_MARK once freed
//   1: next (older) block   2: previous (newer) block
//   3: requested size       4: class identifier (0: unregistered)
//   5: own address XOR CHECK_KEY while live; FREED_MARK once freed
// followed, after the requested bytes, by GUARD_BYTE.
//
// Threading: every operation takes the checker's lock. Its own internal
// allocations (should a report or a warning need any) run with
// the depth counter raised, which sends them to the system heap unchecked
// instead of recursing; the counter is only read and written under the lock,
// so other threads never see it raised.
class ECS_API CMemChecker
{
    TRELL_DECLARE_ALLOCATOR(u"CMemChecker")

public:
    static constexpr unsigned int CHECK_KEY = 0xFEDABEEBu;
    static constexpr unsigned int FREED_MARK = 0xD8675309u;
    static constexpr unsigned char GUARD_BYTE = 0xD7;
    static constexpr unsigned int HEADER_SIZE = 6 * sizeof(void*);
    static constexpr unsigned int CHECK_OVERHEAD = HEADER_SIZE + 1;
    static constexpr unsigned int REPORT_PATH_LENGTH = 260;

    enum EHeapState
    {
        HEAP_CLEAN = 0,   // every block on the list is intact
        HEAP_ERRORS = 1,  // overflowed or broken blocks were found
        HEAP_CRASHED = 2, // the list itself is broken; the walk stopped
    };

    // Takes the checker's lock for its scope; with `raiseDepth` the checker's
    // own allocations made meanwhile bypass checking.
    class ECS_API CAutoLocker
    {
        TRELL_DECLARE_ALLOCATOR(u"CMemChecker::CAutoLocker")

    public:
        CAutoLocker(CMemChecker& checker, bool raiseDepth);
        ~CAutoLocker();

    protected:
        CAutoLocker(const CAutoLocker&);
        CAutoLocker& operator=(const CAutoLocker&);

    private:
        CMemChecker* m_pChecker;
        bool m_bRaised;
    };

    // `allocator` serves the checked blocks; null uses the system heap.
    explicit CMemChecker(CMemAllocator* allocator);
    virtual ~CMemChecker();

    // A checked block of `size` bytes, or null.
    void* malloc(unsigned int size, unsigned int classId);
    // Frees a checked block. A block freed before, a foreign pointer or an
    // overflowed block is counted and reported on the console; the first two
    // are not freed, an overflowed block is. Null is ignored.
    void free(void* p);

    // Identifier of a class name: 1, 2, 3 ... in order of first registration,
    // compared case-sensitively; 0 for null or when called from inside the
    // checker. The name is copied.
    unsigned int registClassName(const char16_t* name);
    // Registered name of an identifier, or null.
    const char16_t* getClassName(unsigned int classId);
    unsigned int getRegisteredCount();

    // Paths of REPORT_PATH_LENGTH characters or more are cut to fit the
    // buffer; a null path stores the empty string.
    void setMemReportFile(const char16_t* path);
    // Copies the current report path into `out` (REPORT_PATH_LENGTH units).
    void getMemReportFile(char16_t* out);
    // Writes one report: to the report file as UTF-16 (truncating it for the
    // first report of the process, appending later), or to the console when
    // the file cannot be opened.
    void generateMemReportFile();

    // Walks the live-block list; `errorCount` (optional) receives the number
    // of overflowed and broken blocks.
    EHeapState checkHeap(unsigned int* errorCount = nullptr);
    unsigned int getLiveBlockCount();
    unsigned int getInvalidFreeCount();
    unsigned int getReportCount();
    // Restarts report numbering (the next report truncates its file again)
    // and clears the invalid-free count.
    void resetReportState();

    // The checker header (defined privately).
    struct tagCheckHeader;

protected:
    CMemChecker(const CMemChecker&);
    CMemChecker& operator=(const CMemChecker&);

private:
    class CReportWriter;

    EHeapState checkHeapLocked(unsigned int* errorCount);
    void writeStatistics(CReportWriter& out);
    const char16_t* findClassName(unsigned int classId);
    void reportInvalidFree(const void* p, unsigned int classId, const char16_t* what);

    CMemAllocator* m_pAllocator;
    char16_t m_szReportFile[REPORT_PATH_LENGTH];
    unsigned int m_uiReportCount;
    tagCheckHeader* m_pHead;
    unsigned int m_uiInvalidFreeCount;
    // Re-entrant: a warning about a bad free is written under the lock the
    // free already holds.
    std::recursive_mutex m_lock;
    unsigned int m_uiDepth;
    // Identifier-to-name lookup: identifiers index the name array; the last
    // lookup is cached.
    unsigned int m_uiCachedId;
    const char16_t* m_pCachedName;
    // Registered names in registration order (copies on the system heap);
    // the scan for a name starts where the last one matched.
    char16_t** m_ppNames;
    unsigned int m_uiNameCount;
    unsigned int m_uiNameCapacity;
    unsigned int m_uiScanCursor;
};

} // namespace Trell

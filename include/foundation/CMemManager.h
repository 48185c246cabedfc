#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <atomic>
#include <mutex>

namespace Trell {

class CMemAllocator;
class CMemChecker;
class CString;
class IMemManagerListener;

// The process-wide memory manager: every allocation of a library class goes
// through it (via CMemory). Small requests come from the pooled
// CMemAllocator; in checking mode (the ECS_MEMORY_CHECKING build option) a
// CMemChecker sits in front of it, tracks every live block and writes the
// memory report.
//
// Lifetime: one static instance, constructed when the library is loaded
// before any other static object of the library and destroyed after all of
// them (its definition carries the highest initialisation priority, so it is
// constructed first, and destructors run in reverse order of construction).
// It becomes active as the last step of its constructor and inactive before
// it frees its pools; outside that window getInstance() is null and CMemory
// uses the system heap.
//
// Threading: malloc, free and registClassName may be called from any thread.
// The listener is set by the host at start-up; its callback runs on the
// failing thread under the manager's own lock.
class ECS_API CMemManager
{
    TRELL_DECLARE_ALLOCATOR(u"CMemManager")

public:
    // The instance while the manager is active, else null.
    static CMemManager* getInstance();
    // Whether this build has checking mode switched on.
    static bool isCheckingMode();

    // Checker, else allocator; when that fails and a listener is set (and not
    // already being called), the listener is called and the request retried
    // once under the manager's lock. Null when the retry fails too.
    void* malloc(unsigned int size, unsigned int classId);
    void free(void* p);
    // 0 without checker.
    unsigned int registClassName(const char16_t* name);

    void setListener(IMemManagerListener* listener);
    IMemManagerListener* getListener() const { return m_pListener; }

    // Without checker these do nothing. The path must be shorter than 260
    // characters; a null path stores the empty string. The CString overload
    // is defined by the text family, which owns CString, and forwards to the
    // other: the manager itself sits below text.
    void setMemReportFile(const CString& path);
    void setMemReportFile(const char16_t* path);
    void generateMemReportFile();

    CMemAllocator* getAllocator() const { return m_pAllocator; }
    // Null unless checking mode is on.
    CMemChecker* getChecker() const { return m_pChecker; }

protected:
    CMemManager();
    virtual ~CMemManager();
    CMemManager(const CMemManager&);
    CMemManager& operator=(const CMemManager&);

private:
    void* allocate(unsigned int size, unsigned int classId);
    // The listener's single retry after a failed allocation.
    void* retryAllocation(unsigned int size, unsigned int classId);

    IMemManagerListener* m_pListener;
    CMemAllocator* m_pAllocator;
    CMemChecker* m_pChecker;
    // Held around the listener's callback only.
    std::recursive_mutex m_lock;
    std::atomic<bool> m_bInCallback;
};

} // namespace Trell

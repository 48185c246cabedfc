#include <foundation/CMemManager.h>

#include <foundation/CMemAllocator.h>
#include <foundation/CMemChecker.h>
#include <foundation/IMemManagerListener.h>

#include "MemFailureCount.h"
#include "MemInternal.h"
#include "MemThreadCache.h"

#include <cstdlib>

namespace Trell {

IMemManagerListener::~IMemManagerListener() = default;

namespace MemInternal {

// Constant-initialised: valid before any constructor of the library runs.
std::atomic<bool> g_bActive{false};
CMemManager* g_pManager = nullptr;
std::atomic<CMemAllocator*> g_pFastAllocator{nullptr};

namespace {
thread_local unsigned int t_uiFailedAllocations = 0;
} // namespace

unsigned int failedAllocationCount() noexcept
{
    return t_uiFailedAllocations;
}

} // namespace MemInternal

namespace {

// The one instance. Its constructor is protected so that nobody else makes
// a manager; this subclass exists only to define the static object.
class CMemManagerInstance final : public CMemManager
{
    TRELL_DECLARE_ALLOCATOR(u"CMemManagerInstance")

public:
    CMemManagerInstance() = default;
    ~CMemManagerInstance() override = default;
};

// Initialisation order: priority 101 is the earliest a program may ask for,
// so the manager is constructed before every other static object of the
// library (those have no priority and run after all prioritised ones). This
// translation unit holds no other static object with a constructor. Its
// destructor is registered first and therefore runs last, after the
// library's other static objects are gone. Libraries loaded before this one
// and the host's own statics are outside that guarantee: what they allocate
// before the manager exists comes from the system heap, as CMemory says.
#if defined(__GNUC__) || defined(__clang__)
CMemManagerInstance s_instance __attribute__((init_priority(101)));
#else
#error "the memory manager needs a way to be constructed before the library's other statics"
#endif

} // namespace

CMemManager::CMemManager()
    : m_pListener(nullptr), m_pAllocator(nullptr), m_pChecker(nullptr), m_lock(), m_bInCallback(false)
{
    // Everything made here comes from the system heap (the manager is not
    // active yet) and is given back in the destructor after the manager has
    // become inactive again, so the heaps never get mixed up.
    m_pAllocator = new CMemAllocator(MemInternal::CHECKING_MODE);
    if (MemInternal::CHECKING_MODE && m_pAllocator)
        m_pChecker = new CMemChecker(m_pAllocator);
    MemInternal::g_pManager = this;
    MemInternal::g_bActive.store(true, std::memory_order_release);
#if defined(ECS_MEM_VALGRIND)
    const bool direct = !m_pChecker && !MemInternal::g_bUnderValgrind;
#else
    const bool direct = !m_pChecker;
#endif
    if (direct && m_pAllocator)
        MemInternal::CThreadCache::enable(*m_pAllocator);
    MemInternal::g_pFastAllocator.store(direct ? m_pAllocator : nullptr, std::memory_order_release);
}

CMemManager::CMemManager(const CMemManager&)
    : m_pListener(nullptr), m_pAllocator(nullptr), m_pChecker(nullptr), m_lock(), m_bInCallback(false)
{}

CMemManager& CMemManager::operator=(const CMemManager&)
{
    return *this;
}

CMemManager::~CMemManager()
{
    if (MemInternal::g_pManager != this)
        return;
    MemInternal::g_pFastAllocator.store(nullptr, std::memory_order_release);
    if (m_pChecker) {
        m_pChecker->generateMemReportFile();
        m_pChecker->resetReportState();
    }
    if (m_pAllocator)
        m_pAllocator->releaseAll();
    MemInternal::g_bActive.store(false, std::memory_order_release);
    MemInternal::g_pManager = nullptr;
    delete m_pChecker;
    m_pChecker = nullptr;
    delete m_pAllocator;
    m_pAllocator = nullptr;
}

CMemManager* CMemManager::getInstance()
{
    return MemInternal::isActive() ? MemInternal::g_pManager : nullptr;
}

bool CMemManager::isCheckingMode()
{
    return MemInternal::CHECKING_MODE;
}

void* CMemManager::allocate(unsigned int size, unsigned int classId)
{
#if defined(ECS_MEMORY_TESTING)
    if (MemInternal::refuseAllocation())
        return nullptr;
#endif
    if (m_pChecker)
        return m_pChecker->malloc(size, classId);
    if (m_pAllocator)
        return m_pAllocator->malloc(size);
    return std::malloc(size);
}

void* CMemManager::malloc(unsigned int size, unsigned int classId)
{
    void* p = allocate(size, classId);
    if (p)
        return p;
    p = retryAllocation(size, classId);
    if (!p)
        ++MemInternal::t_uiFailedAllocations;
    return p;
}

void* CMemManager::retryAllocation(unsigned int size, unsigned int classId)
{
    if (!m_pListener || m_bInCallback.load(std::memory_order_relaxed))
        return nullptr;
    std::lock_guard<std::recursive_mutex> guard(m_lock);
    m_bInCallback.store(true, std::memory_order_relaxed);
    m_pListener->onAllocateFailed();
    void* p = allocate(size, classId);
    m_bInCallback.store(false, std::memory_order_relaxed);
    return p;
}

void CMemManager::free(void* p)
{
    if (m_pChecker)
        m_pChecker->free(p);
    else if (m_pAllocator)
        m_pAllocator->free(p);
    else
        std::free(p);
}

unsigned int CMemManager::registClassName(const char16_t* name)
{
    return m_pChecker ? m_pChecker->registClassName(name) : 0;
}

void CMemManager::setListener(IMemManagerListener* listener)
{
    m_pListener = listener;
}

void CMemManager::setMemReportFile(const char16_t* path)
{
    if (m_pChecker)
        m_pChecker->setMemReportFile(path);
}

void CMemManager::generateMemReportFile()
{
    if (m_pChecker)
        m_pChecker->generateMemReportFile();
}

} // namespace Trell

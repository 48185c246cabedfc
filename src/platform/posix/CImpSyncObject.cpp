#include <platform/posix/CImpSyncObject.h>

#include <type_traits>

namespace Trell {

namespace {

// Rounds of polling before a contended lock goes to sleep: enough to cover
// a critical section of a few hundred nanoseconds, short enough that a
// holder which lost its processor is not waited for by spinning.
const int SPIN_ROUNDS = 100;

static_assert(std::is_integral<pthread_t>::value, "the owner is stored as a number");

unsigned long currentThreadID()
{
    // pthread_self() is never 0 for a running thread.
    return static_cast<unsigned long>(pthread_self());
}

inline void relax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

} // namespace

CImpSyncObject::CImpSyncObject() : m_ulOwner(0), m_uiDepth(0)
{
    pthread_mutex_init(&m_mutex, nullptr);
}

CImpSyncObject::~CImpSyncObject()
{
    pthread_mutex_destroy(&m_mutex);
}

void CImpSyncObject::lock()
{
    const unsigned long ulSelf = currentThreadID();
    // Only this thread stores its own id, so seeing it means it holds the lock.
    if (m_ulOwner.load(std::memory_order_relaxed) == ulSelf) {
        ++m_uiDepth;
        return;
    }
    if (pthread_mutex_trylock(&m_mutex) != 0) {
        bool bTaken = false;
        for (int i = 0; i < SPIN_ROUNDS && !bTaken; ++i) {
            relax();
            // Read before writing: polling with trylock would bounce the
            // mutex's cache line between the waiters.
            if (m_ulOwner.load(std::memory_order_relaxed) == 0)
                bTaken = pthread_mutex_trylock(&m_mutex) == 0;
        }
        if (!bTaken)
            pthread_mutex_lock(&m_mutex);
    }
    m_ulOwner.store(ulSelf, std::memory_order_relaxed);
    m_uiDepth = 1;
}

void CImpSyncObject::unlock()
{
    // An unlock by a thread that does not hold the lock is ignored, as the
    // recursive mutex this replaces refused it.
    if (m_ulOwner.load(std::memory_order_relaxed) != currentThreadID())
        return;
    if (--m_uiDepth != 0)
        return;
    m_ulOwner.store(0, std::memory_order_relaxed);
    pthread_mutex_unlock(&m_mutex);
}

} // namespace Trell

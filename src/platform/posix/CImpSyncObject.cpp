#include <platform/posix/CImpSyncObject.h>

namespace Trell {

namespace {

// Tries before sleeping: the library's locks guard a few list or table
// updates, far shorter than a futex sleep and wake-up, so a waiter that
// arrives while the holder is inside usually gets the lock within these.
// The bound stays small so that a preempted holder costs little spinning.
const int LOCK_SPIN_TRIES = 20;

inline void cpuRelax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    __asm__ __volatile__("yield");
#endif
}

} // namespace

CImpSyncObject::CImpSyncObject()
{
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attr);
    pthread_mutexattr_destroy(&attr);
}

CImpSyncObject::~CImpSyncObject()
{
    pthread_mutex_destroy(&m_mutex);
}

void CImpSyncObject::lock()
{
    // A recursive trylock also succeeds for the holder, so re-entry is
    // served on the first try.
    for (int i = 0; i < LOCK_SPIN_TRIES; ++i) {
        if (pthread_mutex_trylock(&m_mutex) == 0)
            return;
        cpuRelax();
    }
    pthread_mutex_lock(&m_mutex);
}

void CImpSyncObject::unlock()
{
    pthread_mutex_unlock(&m_mutex);
}

} // namespace Trell

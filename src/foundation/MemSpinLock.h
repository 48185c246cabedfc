#pragma once

// The lock of one size class. Critical sections are a handful of loads and
// stores, far shorter than a mutex's sleep and wake-up, so waiters spin
// (test-and-test-and-set, with the CPU's pause hint) and only yield the CPU
// after a while, which matters when the lock holder was preempted on a
// machine with few cores.

#include <foundation/CMemory.h>

#include <atomic>
#include <thread>

namespace Trell {
namespace MemInternal {

class CMemSpinLock
{
    TRELL_DECLARE_ALLOCATOR(u"CMemSpinLock")

public:
    // Constant-initialised, so that a lock at namespace scope is usable
    // before any constructor of the library has run.
    constexpr CMemSpinLock() noexcept : m_bLocked(false) {}
    CMemSpinLock(const CMemSpinLock&) = delete;
    CMemSpinLock& operator=(const CMemSpinLock&) = delete;

    void lock() noexcept
    {
        if (__builtin_expect(!m_bLocked.exchange(true, std::memory_order_acquire), 1))
            return;
        lockContended();
    }

    // Takes the lock only if nobody holds it.
    bool tryLock() noexcept { return !m_bLocked.exchange(true, std::memory_order_acquire); }

    void unlock() noexcept { m_bLocked.store(false, std::memory_order_release); }

private:
    // Out of line so that the uncontended path stays a single exchange.
    __attribute__((noinline)) void lockContended() noexcept
    {
        do {
            unsigned int spins = 0;
            while (m_bLocked.load(std::memory_order_relaxed)) {
                if (++spins < 128) {
                    pause();
                } else {
                    std::this_thread::yield();
                    spins = 0;
                }
            }
        } while (m_bLocked.exchange(true, std::memory_order_acquire));
    }

    static void pause() noexcept
    {
#if defined(__x86_64__) || defined(__i386__)
        __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
        __asm__ __volatile__("yield");
#endif
    }

    std::atomic<bool> m_bLocked;
};

} // namespace MemInternal
} // namespace Trell

#pragma once

#include <platform/IThread.h>

#include <pthread.h>

namespace Trell {

class CThread;

// A pthread that runs its owner's notifyThreadStarted, run and
// notifyThreadStopped, in that order.
//
// Priority: the owner's priority is mapped to the system's -2..2 scale
// (CThread::toSystemPriority) and then to a nice value relative to the
// process's own: 2 -> -10, 1 -> -5, 0 -> unchanged, -1 -> +5, -2 -> +10
// (clamped to -20..19), set by the new thread on itself (Linux keeps a nice
// value per thread). Real-time policies are not used: they would let a busy
// worker starve the rest of the system. Raising priority needs privilege;
// when it is refused the thread runs on at the inherited priority and the
// refusal is logged once per process.
//
// The thread is detached: destroying this object neither waits for nor ends
// it, and the worker never touches this object once it has started.
class CImpThread : public IThread
{
    TRELL_DECLARE_ALLOCATOR(u"CImpThread")

public:
    explicit CImpThread(CThread* pOwner);
    ~CImpThread() override;

    void start() override;

    // The nice value for a -2..2 system priority, relative to the process's.
    static int toNiceOffset(int iSystemPriority);

private:
    CImpThread(const CImpThread&) = delete;
    CImpThread& operator=(const CImpThread&) = delete;

    static void* threadEntry(void* pArgument);

    CThread* m_pOwner;
    pthread_t m_thread;
    bool m_bHasThread;
};

} // namespace Trell

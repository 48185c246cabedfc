#pragma once

#include <platform/IThread.h>

#include <windows.h>

namespace Trell {

class CThread;

// A thread of the C runtime (_beginthreadex) that runs its owner's
// notifyThreadStarted, run and notifyThreadStopped, in that order. The
// owner's priority is mapped to the system's -2..2 scale
// (CThread::toSystemPriority) and set with SetThreadPriority when the thread
// is created. Destroying this object closes the handle; it neither waits for
// nor ends the thread.
class CImpThread final : public IThread
{
    TRELL_DECLARE_ALLOCATOR(u"CImpThread")

public:
    explicit CImpThread(CThread* pOwner);
    ~CImpThread() override;

    void start() override;

private:
    CImpThread(const CImpThread&) = delete;
    CImpThread& operator=(const CImpThread&) = delete;

    static unsigned __stdcall threadEntry(void* pArgument);

    CThread* m_pOwner;
    HANDLE m_hThread;
};

} // namespace Trell

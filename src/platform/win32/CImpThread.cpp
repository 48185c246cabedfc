#include <platform/win32/CImpThread.h>

#include <platform/CThread.h>

#include <process.h>

namespace Trell {

CImpThread::CImpThread(CThread* pOwner) : m_pOwner(pOwner), m_hThread(nullptr)
{}

CImpThread::~CImpThread()
{
    if (m_hThread)
        CloseHandle(m_hThread);
}

void CImpThread::start()
{
    // A handle of an earlier run is closed; that thread has ended or ends on
    // its own.
    if (m_hThread) {
        CloseHandle(m_hThread);
        m_hThread = nullptr;
    }
    unsigned int uiThreadID = 0;
    const uintptr_t uiHandle = _beginthreadex(nullptr, 0, &CImpThread::threadEntry, m_pOwner, 0, &uiThreadID);
    if (uiHandle == 0) {
        m_pOwner->notifyWorkerExited();
        return;
    }
    m_hThread = reinterpret_cast<HANDLE>(uiHandle);
    // -2..2 are THREAD_PRIORITY_LOWEST..THREAD_PRIORITY_HIGHEST themselves.
    SetThreadPriority(m_hThread, CThread::toSystemPriority(m_pOwner->getThreadPriority()));
}

unsigned __stdcall CImpThread::threadEntry(void* pArgument)
{
    CThread* pOwner = static_cast<CThread*>(pArgument);
    pOwner->notifyThreadStarted(static_cast<unsigned int>(GetCurrentThreadId()));
    pOwner->run();
    pOwner->notifyThreadStopped();
    // The owner may be destroyed as soon as this returns: touch nothing after it.
    pOwner->notifyWorkerExited();
    return 0;
}

} // namespace Trell

#include <platform/CThread.h>

#include <platform/IThread.h>
#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>

#include <thread>

namespace Trell {

CThread::CThread()
    : m_iThreadPriority(51), m_strThreadName(u"Unknown"), m_uiThreadID(0), m_bRunning(false), m_bPrepareStop(false),
      m_bWorkerActive(false), m_syncThread(), m_waitWake(CString()), m_waitSignal(CString()), m_waitStopped(CString()),
      m_pThread(nullptr)
{
    m_pThread = PlatformImp::createThread(this);
}

// A copy is a fresh, idle thread object with the same name and priority.
CThread::CThread(const CThread& other) : CThread()
{
    m_iThreadPriority = other.m_iThreadPriority;
    m_strThreadName = other.m_strThreadName;
}

CThread& CThread::operator=(const CThread& other)
{
    m_iThreadPriority = other.m_iThreadPriority;
    m_strThreadName = other.m_strThreadName;
    return *this;
}

CThread::~CThread()
{
    // A worker that already cleared the running flag may still be signalling
    // the stopped event: let it finish before the event dies.
    if (!m_bRunning.load())
        waitForWorkerExit();
    delete m_pThread;
    m_pThread = nullptr;
}

int CThread::toSystemPriority(int iPriority)
{
    if (iPriority > 50)
        return 2;
    if (iPriority == 50)
        return 0;
    if (iPriority >= 3)
        return -2;
    if (iPriority >= -2)
        return iPriority;
    return 0;
}

void CThread::waitForWorkerExit()
{
    while (m_bWorkerActive.load(std::memory_order_acquire))
        std::this_thread::yield();
}

void CThread::startThread()
{
    if (m_bRunning.load())
        return;
    // The previous worker's stopped signal must not land in the new run.
    waitForWorkerExit();
    m_bRunning.store(true);
    m_bPrepareStop.store(false);
    m_uiThreadID.store(0);
    // A stopped signal left from an earlier run that nobody waited for must
    // not release the next stopThread early; the new worker cannot have
    // signalled yet.
    m_waitStopped.reset();
    m_bWorkerActive.store(true, std::memory_order_release);
    m_pThread->start();
}

void CThread::stopThread()
{
    if (!m_bRunning.load())
        return;
    prepareStopThread();
    m_waitStopped.wait(0);
}

void CThread::prepareStopThread()
{
    m_bPrepareStop.store(true);
    m_waitWake.notify();
}

void CThread::waitForThreadStop()
{
    if (!m_bRunning.load())
        return;
    m_waitStopped.wait(0);
}

void CThread::notifyThreadStarted(unsigned int uiThreadID)
{
    m_uiThreadID.store(uiThreadID);
    PlatformLog::logThreadStarted(uiThreadID, m_strThreadName);
}

void CThread::notifyThreadStopped()
{
    PlatformLog::logThreadExited(m_uiThreadID.load(), m_strThreadName);
    m_uiThreadID.store(0);
    m_bRunning.store(false);
    // Only now: a controller released by this may restart the object at once.
    m_waitStopped.notify();
}

} // namespace Trell

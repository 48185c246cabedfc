#pragma once

// Threading contract
// ------------------
// A CThread is driven by one controlling thread and runs its body on one
// worker thread at a time:
//  - startThread, stopThread, prepareStopThread and waitForThreadStop are
//    called by the controlling thread. stopThread must never be called from
//    the worker itself (it would wait for its own end).
//  - notifyThreadStarted, run and notifyThreadStopped run on the worker, in
//    that order.
//  - The running and prepare-stop flags and the thread id are written
//    without a lock; the events give the ordering: notifyThreadStopped clears
//    the id and the running flag before it signals the stopped event, so a
//    controller released from stopThread or waitForThreadStop already sees an
//    idle object and may start it again at once.
//  - m_syncThread is never taken by this class; it is there for derived
//    classes that share data between worker and controller, and its place in
//    their lock order is theirs to keep.
//  - A derived class stops its thread (stopThread) before it is destroyed;
//    this destructor does not wait for the worker.
//
// A derived run() loops until isPrepareStopThread() is true, doing one pass
// of work and then sleeping on m_waitWake with its own period;
// prepareStopThread raises the flag and wakes the sleeper, so a stop takes
// effect within one pass.
//
// A class that derives from both CObject and CThread declares its own
// allocator (TRELL_DECLARE_ALLOCATOR), since both bases bring one.

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <platform/CSyncObject.h>
#include <platform/CWaitObject.h>
#include <text/CString.h>

#include <atomic>

namespace Trell {

class IThread;

class ECS_API CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CThread")

public:
    CThread();
    virtual ~CThread();

    // Starts the worker unless it is running already (a second start is ignored).
    virtual void startThread();
    // If running: prepareStopThread, then waits without limit for the worker to end.
    virtual void stopThread();
    // Raises the prepare-stop flag and wakes m_waitWake; does not wait.
    virtual void prepareStopThread();
    // If running: waits without limit for the worker to end.
    virtual void waitForThreadStop();
    // Called on the worker before run, with the operating system's thread id.
    virtual void notifyThreadStarted(unsigned int uiThreadID);
    // Called on the worker after run returns.
    virtual void notifyThreadStopped();
    // The thread body.
    virtual void run() = 0;

    void setThreadName(const CString& strName) { m_strThreadName = strName; }
    const CString& getThreadName() const { return m_strThreadName; }
    // Takes effect at the next start. Above 50 is highest, 3..49 lowest,
    // exactly 50 normal, -2..2 the system's own scale (lowest .. highest),
    // below -2 normal.
    void setThreadPriority(int iPriority) { m_iThreadPriority = iPriority; }
    int getThreadPriority() const { return m_iThreadPriority; }
    // 0 while not running.
    unsigned int getThreadID() const { return m_uiThreadID.load(); }
    bool isPrepareStopThread() const { return m_bPrepareStop.load(); }

    // The -2..2 system priority (lowest, below normal, normal, above normal,
    // highest) for a stored priority. The gap between 3 and 50 is deliberate:
    // priorities are either the system's own -2..2 or a coarse scale around 50.
    static int toSystemPriority(int iPriority);

protected:
    CThread(const CThread& other);
    CThread& operator=(const CThread& other);

    int m_iThreadPriority;
    CString m_strThreadName;
    std::atomic<unsigned int> m_uiThreadID;
    std::atomic<bool> m_bRunning;
    std::atomic<bool> m_bPrepareStop;
    // True from startThread until the worker's last touch of this object
    // (right after notifyThreadStopped). The running flag is cleared before the
    // stopped event is signalled, so a controller can see "not running" while
    // the worker is still inside notify(); this closes that window for the
    // destructor and for a restart.
    std::atomic<bool> m_bWorkerActive;
    // For derived classes; never locked here.
    CSyncObject m_syncThread;
    // Signalled by prepareStopThread; a derived run sleeps on it between passes.
    CWaitObject m_waitWake;
    // Free for derived classes (the timer manager uses it as its started handshake).
    CWaitObject m_waitSignal;
    // Signalled once the worker has left run and the flags are cleared.
    CWaitObject m_waitStopped;

private:
    friend class CImpThread;
    // Called by the platform thread after notifyThreadStopped, even when a
    // derived class overrides it.
    void notifyWorkerExited() { m_bWorkerActive.store(false, std::memory_order_release); }
    void waitForWorkerExit();

    IThread* m_pThread;
};

} // namespace Trell

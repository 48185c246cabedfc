#pragma once

// Threading contract
// ------------------
// - One worker, the timer thread ("tm"), runs run(): every 10 ms it checks
//   the running timers (CTimer::pulse), packs the expiries of the check into
//   one CMsgTimer and pushes it to the message center. Listeners are never
//   called here; the main thread calls them when it handles the message.
// - The main thread calls getInstance/deleteInstance, start/stop, and
//   addTimer/removeTimer (through CTimer::start/stop), and handles timer
//   messages (checkIsDeletedTimer/clearDeletedTimer).
// - The timer lock (CThread::m_syncThread) guards the timer and pending
//   arrays. The deleted-list lock guards the deleted-timer array. The two are
//   never held together.
// - Lock order: timer lock, then the message center's lock. The worker pushes
//   while it holds the timer lock, so that removeTimer, which takes the timer
//   lock before it purges the center's queue, cannot miss a message being
//   pushed. removeTimer calls into the center with no lock of its own held.
//   So the center's listener hears onMessageAvailable on the timer thread
//   with the timer lock held: it may wake the main loop, never wait for it.
// - getInstance/deleteInstance do not lock. Stop the manager before
//   deleting it (the destructor stops it as a last resort).

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <platform/CSyncObject.h>
#include <platform/CThread.h>
#include <platform/CWaitObject.h>
#include <timer/CMsgTimer.h>
#include <timer/CTimer.h>

#include <atomic>
#include <cstdint>

namespace Trell {

template <class T>
class CSingleton;

// The singleton that drives every CTimer from one thread.
//
// With no timer running the worker blocks until the next addTimer, so an
// idle manager costs nothing. Timers may be started before the manager's
// thread runs; they are examined once it starts.
class ECS_API CTimerManager : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CTimerManager")

public:
    static CTimerManager* getInstance();
    static void deleteInstance();
    // Whether the singleton exists (asking does not create it).
    static bool hasInstance() { return s_pInstance != nullptr; }

    // Starts the timer thread unless it runs; returns once the worker runs.
    void start();
    // Stops the timer thread and waits for its end; nothing if not running.
    void stop();

    // Appends the timer to the checked timers (once) and wakes the worker;
    // a restarted timer's earlier stop no longer hides its deliveries.
    void addTimer(CTimer* pTimer);
    // Drops the timer, records its id as deleted and purges its queued
    // records from the message center.
    void removeTimer(CTimer* pTimer);
    // Whether the timer was removed since the last timer message was handled.
    bool checkIsDeletedTimer(std::uintptr_t uiID);
    void clearDeletedTimer();
    // Queues a record of the current check (worker, timer lock held).
    void timerPulse(CMsgTimer::CTimerData* pData);

    // The worker loop.
    void run() override;

    // The time between the end of one check and the start of the next (10 ms).
    unsigned int getCheckInterval() const { return m_uiCheckInterval; }

protected:
    friend class CSingleton<CTimerManager>;
    CTimerManager();
    ~CTimerManager() override;
    CTimerManager(const CTimerManager& other);
    CTimerManager& operator=(const CTimerManager& other);

private:
    // Deletes and forgets the records of an unfinished check.
    void discardPending();

    static CTimerManager* s_pInstance;

    // Not owned; in the order the timers were added.
    CDataArray<CTimer*> m_aryTimer;
    // The records of the check in progress.
    CDataArray<CMsgTimer::CTimerData*> m_aryPending;
    // Ids removed since the last timer message was handled.
    CDataArray<std::uintptr_t> m_aryDeletedTimer;
    unsigned int m_uiCheckInterval;
    // The worker sleeps on it between checks; only stop() signals it.
    CWaitObject m_waitPulse;
    CSyncObject m_syncDeleted;
    // The size of the deleted array, readable without the lock.
    std::atomic<unsigned int> m_uiDeletedCount;
};

} // namespace Trell

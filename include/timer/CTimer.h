#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

#include <atomic>
#include <cstdint>

namespace Trell {

class CTimer;

// Receives the pulses of a CTimer on the thread that handles the message
// center's messages (the main thread), never on the timer thread. Both
// callbacks do nothing by default, so a listener overrides what it needs.
class ECS_API ITimerListener
{
    TRELL_DECLARE_ALLOCATOR(u"ITimerListener")

public:
    virtual ~ITimerListener();
    // A pulse; uiCount is the pulse number, starting at 1.
    virtual void onTimer(const CTimer* pTimer, unsigned int uiCount);
    // The last pulse of a counted timer (reported instead of onTimer).
    virtual void onTimerComplete(const CTimer* pTimer);
};

// A millisecond timer checked by the timer manager's thread every 10 ms.
//
// The schedule is anchored at the start time: pulse n is due n x delay after
// start, so pulses do not drift; a timer that fell behind catches up by one
// pulse per check. A timer with repeat count N reports onTimer with counts
// 1..N-1 and then onTimerComplete once (N = 1 gives only the completion);
// the asymmetry is deliberate and listeners rely on it. A repeat count of 0
// runs without end.
//
// start, stop, reset and the setters are called on the main thread; the
// timer thread reads the schedule fields during a check. Those fields are
// shared without a lock (atomics, so the sharing is well defined). Stop a
// running timer before deleting it from anywhere but the main thread.
class ECS_API CTimer : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CTimer")

public:
    // Kind of a delivered record.
    enum ETimerStatus
    {
        TIMER_STATUS_PULSE = 0,
        TIMER_STATUS_COMPLETE = 1
    };

    // Delay 20 ms, endless, not running, no listener.
    CTimer();
    CTimer(unsigned int uiDelay, unsigned int uiRepeatCount);
    // A running timer is stopped first, so nothing queued for it is delivered.
    ~CTimer() override;

    // Count 0 and start time now: restarts the schedule of a running timer
    // without touching its running state or the manager.
    void reset() override;

    // The listener is not owned.
    void setListener(ITimerListener* pListener) { m_pListener.store(pListener); }
    ITimerListener* getListener() const { return m_pListener.load(); }
    // Applies from the next check; the schedule is not restarted.
    void setDelay(unsigned int uiDelay) { m_uiDelay.store(uiDelay); }
    unsigned int getDelay() const { return m_uiDelay.load(); }
    // Also sets the current count to 0 (the start time stays, so a running
    // timer catches up one pulse per check).
    void setRepeatCount(unsigned int uiRepeatCount);
    unsigned int getRepeatCount() const { return m_uiRepeatCount.load(); }
    unsigned int getCurrentCount() const { return m_uiCurrentCount.load(); }
    bool isRunning() const { return m_bRunning.load(); }
    // The object's address as a pointer-sized number: unique among live
    // timers, may repeat after a timer is deleted.
    std::uintptr_t getID() const { return reinterpret_cast<std::uintptr_t>(this); }

    // Starts the schedule and hands the timer to the manager. A running timer
    // (also one whose completion is still on its way) is left alone.
    void start();
    // Always: not running, out of the manager, count and start time 0, and no
    // record queued for it is delivered any more.
    void stop();

protected:
    friend class CTimerManager;
    friend class CMsgTimer;

    CTimer(const CTimer& other);
    CTimer& operator=(const CTimer& other);

    // Not running, then reset(); the manager drops the timer at its next check.
    void terminate();
    // One check on the timer thread with the manager's timer lock held;
    // queues at most one record. Returns whether the timer stays in the manager.
    bool pulse(unsigned int uiNow);

    std::atomic<ITimerListener*> m_pListener;
    std::atomic<unsigned int> m_uiDelay;
    std::atomic<unsigned int> m_uiRepeatCount;
    std::atomic<unsigned int> m_uiCurrentCount;
    std::atomic<bool> m_bRunning;
    std::atomic<unsigned int> m_uiStartTime;
};

} // namespace Trell

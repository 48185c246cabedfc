#include <timer/CTimer.h>

#include <timer/CMsgTimer.h>
#include <timer/CTimerManager.h>

#include "message/TickClock.h"

namespace Trell {

ITimerListener::~ITimerListener() = default;

void ITimerListener::onTimer(const CTimer*, unsigned int)
{}

void ITimerListener::onTimerComplete(const CTimer*)
{}

CTimer::CTimer() : CTimer(20, 0)
{}

CTimer::CTimer(unsigned int uiDelay, unsigned int uiRepeatCount)
    : CObject(), m_pListener(nullptr), m_uiDelay(uiDelay), m_uiRepeatCount(uiRepeatCount), m_uiCurrentCount(0),
      m_bRunning(false), m_uiStartTime(0)
{}

// A copy is a stopped timer with the same settings: the manager knows
// timers by address, so a copy must never inherit a place there.
CTimer::CTimer(const CTimer& other)
    : CObject(other), m_pListener(other.m_pListener.load()), m_uiDelay(other.m_uiDelay.load()),
      m_uiRepeatCount(other.m_uiRepeatCount.load()), m_uiCurrentCount(0), m_bRunning(false), m_uiStartTime(0)
{}

CTimer& CTimer::operator=(const CTimer& other)
{
    if (this != &other) {
        m_pListener.store(other.m_pListener.load());
        m_uiDelay.store(other.m_uiDelay.load());
        m_uiRepeatCount.store(other.m_uiRepeatCount.load());
    }
    return *this;
}

CTimer::~CTimer()
{
    if (m_bRunning.load()) {
        m_bRunning.store(false);
        CTimerManager::getInstance()->removeTimer(this);
        m_uiStartTime.store(0);
        m_uiCurrentCount.store(0);
    } else if (CTimerManager::hasInstance()) {
        // A stopped timer may still be referenced: a counted timer without
        // listener ends at its last check with its completion still queued,
        // and a terminated timer stays in the manager until the next check.
        // Neither may outlive this object, so take it out as stop would.
        CTimerManager::getInstance()->removeTimer(this);
    }
}

void CTimer::reset()
{
    m_uiCurrentCount.store(0);
    m_uiStartTime.store(TickClock::now());
}

void CTimer::setRepeatCount(unsigned int uiRepeatCount)
{
    m_uiRepeatCount.store(uiRepeatCount);
    m_uiCurrentCount.store(0);
}

void CTimer::start()
{
    if (m_bRunning.load())
        return;
    m_bRunning.store(true);
    m_uiStartTime.store(TickClock::now());
    m_uiCurrentCount.store(0);
    CTimerManager::getInstance()->addTimer(this);
}

void CTimer::stop()
{
    m_bRunning.store(false);
    CTimerManager::getInstance()->removeTimer(this);
    m_uiStartTime.store(0);
    m_uiCurrentCount.store(0);
}

void CTimer::terminate()
{
    m_bRunning.store(false);
    reset();
}

bool CTimer::pulse(unsigned int uiNow)
{
    if (!m_bRunning.load())
        return false;

    // Unsigned arithmetic throughout: the 32-bit tick count wraps after about
    // 49.7 days and the products wrap with it.
    const unsigned int uiElapsed = uiNow - m_uiStartTime.load();
    const unsigned int uiNext = m_uiCurrentCount.load() + 1;
    // Anchored at the start time, and at most one pulse per check, so a timer
    // that fell behind catches up one pulse per check.
    const bool bDue = uiElapsed >= m_uiDelay.load() * uiNext;
    const unsigned int uiRepeatCount = m_uiRepeatCount.load();

    if (uiRepeatCount == 0) {
        if (bDue) {
            m_uiCurrentCount.store(uiNext);
            CTimerManager::getInstance()->timerPulse(new CMsgTimer::CTimerData(this, TIMER_STATUS_PULSE, uiNext));
        }
        return true;
    }
    if (!bDue)
        return true;
    if (uiNext < uiRepeatCount) {
        m_uiCurrentCount.store(uiNext);
        CTimerManager::getInstance()->timerPulse(new CMsgTimer::CTimerData(this, TIMER_STATUS_PULSE, uiNext));
        return true;
    }
    if (uiNext == uiRepeatCount) {
        // The last count is reported as the completion only.
        m_uiCurrentCount.store(uiNext);
        CTimerManager::getInstance()->timerPulse(new CMsgTimer::CTimerData(this, TIMER_STATUS_COMPLETE, uiNext));
        // Without a listener nobody delivers the completion, so the timer
        // ends here; otherwise it stays marked running until delivery.
        if (!m_pListener.load())
            m_bRunning.store(false);
        return false;
    }
    // The repeat count was lowered below the count: end without a record.
    m_bRunning.store(false);
    return false;
}

} // namespace Trell

#include <timer/CTimerManager.h>

#include <configuration/CConfigParser.h>
#include <foundation/CSingleton.h>
#include <message/CMessageCenter.h>
#include <platform/CAutoSync.h>
#include <text/CString.h>

#include "message/TickClock.h"

namespace Trell {

namespace {
const unsigned int TIMER_CHECK_INTERVAL = 10;
} // namespace

CTimerManager* CTimerManager::s_pInstance = nullptr;

CTimerManager* CTimerManager::getInstance()
{
    return CSingleton<CTimerManager>::getInstance(s_pInstance);
}

void CTimerManager::deleteInstance()
{
    CSingleton<CTimerManager>::deleteInstance(s_pInstance);
}

CTimerManager::CTimerManager()
    : CThread(), m_aryTimer(), m_aryPending(), m_aryDeletedTimer(), m_uiCheckInterval(TIMER_CHECK_INTERVAL),
      m_waitPulse(CString()), m_syncDeleted(), m_uiDeletedCount(0)
{}

CTimerManager::~CTimerManager()
{
    // The worker must not outlive the object it runs on.
    stop();
    discardPending();
}

void CTimerManager::start()
{
    if (m_bRunning.load())
        return;
    // The configuration's "tm" entry; without a loaded configuration the
    // entry's defaults (no name, the default priority).
    if (CConfigParser::hasInstance()) {
        const CConfigParser::tagThread* pThread = CConfigParser::getInstance()->getThread();
        setThreadName(pThread->name[CConfigParser::tagThread::SLOT_TM]);
        setThreadPriority(pThread->priority[CConfigParser::tagThread::SLOT_TM]);
    } else {
        setThreadName(CString());
        setThreadPriority(CConfigParser::DEFAULT_THREAD_PRIORITY);
    }
    // Timers added before this start (or kept over a stop) must not wait for
    // the next addTimer: the wake that announced them may have been taken by
    // the previous worker. The old worker is gone once startThread returns,
    // so the new one is the first to see this.
    bool bHasTimers = false;
    {
        CAutoSync lock(m_syncThread);
        bHasTimers = m_aryTimer.getCount() > 0;
    }
    startThread();
    if (bHasTimers)
        m_waitWake.notify();
    // run() signals first thing, so timers started from here on are checked.
    m_waitSignal.wait(0);
}

void CTimerManager::stop()
{
    if (!m_bRunning.load())
        return;
    prepareStopThread();
    // A worker sleeping between checks wakes at once.
    m_waitPulse.notify();
    // Wait for the stopped event itself, not for the running flag: the flag
    // drops just before the worker signals the event, and a caller that
    // deletes the manager then would pull the event from under the worker.
    m_waitStopped.wait(0);
}

void CTimerManager::addTimer(CTimer* pTimer)
{
    if (!pTimer)
        return;
    {
        CAutoSync lock(m_syncThread);
        if (m_aryTimer.contains(pTimer))
            return;
        m_aryTimer.add(pTimer);
    }
    {
        // A timer stopped and started again before the next delivery is
        // delivered normally.
        CAutoSync lock(m_syncDeleted);
        m_aryDeletedTimer.remove(pTimer->getID());
        m_uiDeletedCount.store(m_aryDeletedTimer.getCount());
    }
    m_waitWake.notify();
}

void CTimerManager::removeTimer(CTimer* pTimer)
{
    if (!pTimer)
        return;
    const std::uintptr_t uiID = pTimer->getID();
    {
        CAutoSync lock(m_syncThread);
        m_aryTimer.remove(pTimer);
    }
    {
        // Covers a message already taken off the queue and being handled.
        CAutoSync lock(m_syncDeleted);
        if (!m_aryDeletedTimer.contains(uiID))
            m_aryDeletedTimer.add(uiID);
        m_uiDeletedCount.store(m_aryDeletedTimer.getCount());
    }
    // At shutdown the center may already be gone: then nothing is queued,
    // and asking must not build a new one that nobody deletes.
    if (CMessageCenter::hasInstance())
        CMessageCenter::getInstance()->deleteTimerMessage(uiID);
}

bool CTimerManager::checkIsDeletedTimer(std::uintptr_t uiID)
{
    // The usual case, nothing deleted, costs no lock. The count is written
    // under the lock by the same main thread that delivers.
    if (m_uiDeletedCount.load() == 0)
        return false;
    CAutoSync lock(m_syncDeleted);
    return m_aryDeletedTimer.contains(uiID);
}

void CTimerManager::clearDeletedTimer()
{
    CAutoSync lock(m_syncDeleted);
    m_aryDeletedTimer.clear();
    m_uiDeletedCount.store(0);
}

void CTimerManager::timerPulse(CMsgTimer::CTimerData* pData)
{
    if (!pData)
        return;
    if (!m_aryPending.add(pData))
        delete pData;
}

void CTimerManager::discardPending()
{
    for (CMsgTimer::CTimerData* pData : m_aryPending)
        delete pData;
    m_aryPending.clear();
}

void CTimerManager::run()
{
    m_waitSignal.notify();
    // Idle until the first timer arrives (or a stop).
    m_waitWake.wait(0);

    for (;;) {
        if (isPrepareStopThread())
            return;
        m_waitPulse.forceWait(m_uiCheckInterval);
        if (isPrepareStopThread())
            return;

        {
            CAutoSync lock(m_syncThread);
            const unsigned int uiNow = TickClock::now();
            discardPending();

            for (unsigned int i = 0; i < m_aryTimer.getCount();) {
                if (m_aryTimer[i]->pulse(uiNow))
                    ++i;
                else
                    m_aryTimer.removeAt(i);
            }

            if (m_aryPending.getCount() > 0) {
                CMsgTimer* pMessage = new CMsgTimer();
                if (pMessage) {
                    for (CMsgTimer::CTimerData* pData : m_aryPending)
                        pMessage->addData(pData);
                    m_aryPending.clear();
                    // Pushed with the timer lock held: removeTimer's purge
                    // cannot run between this check and its push.
                    CMessageCenter::getInstance()->pushMessage(pMessage);
                } else {
                    discardPending();
                }
            }

            // Keep checking while timers run; otherwise sleep below until
            // the next addTimer.
            if (m_aryTimer.getCount() > 0)
                m_waitWake.notify();
        }

        m_waitWake.wait(0);
    }
}

} // namespace Trell

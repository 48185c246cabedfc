#include <timer/CMsgTimer.h>

#include <timer/CTimerManager.h>

namespace Trell {

CMsgTimer::CTimerData::CTimerData(CTimer* pTimer, CTimer::ETimerStatus eStatus, unsigned int uiCount)
    : CObject(), m_pTimer(pTimer), m_eStatus(eStatus), m_uiCount(uiCount), m_uiID(pTimer ? pTimer->getID() : 0)
{}

CMsgTimer::CTimerData::~CTimerData() = default;

void CMsgTimer::CTimerData::handleMessage()
{
    deliver(CTimerManager::hasInstance() ? CTimerManager::getInstance() : nullptr);
}

void CMsgTimer::CTimerData::deliver(CTimerManager* pManager)
{
    if (!m_pTimer)
        return;
    ITimerListener* pListener = m_pTimer->getListener();
    if (!pListener)
        return;
    if (m_eStatus == CTimer::TIMER_STATUS_PULSE) {
        pListener->onTimer(m_pTimer, m_uiCount);
        return;
    }
    pListener->onTimerComplete(m_pTimer);
    // A listener that deleted (or stopped) the timer from its callback put
    // the id on the deleted list; the timer must not be touched then.
    if (pManager && pManager->checkIsDeletedTimer(m_uiID))
        return;
    m_pTimer->terminate();
}

CMsgTimer::CMsgTimer() : CBaseMessage(MESSAGE_TYPE_TIMER), m_aryData(true)
{}

CMsgTimer::CMsgTimer(const CMsgTimer& other) : CBaseMessage(other), m_aryData(true)
{
    for (CTimerData* pData : other.m_aryData)
        addData(new CTimerData(*pData));
}

CMsgTimer& CMsgTimer::operator=(const CMsgTimer& other)
{
    if (this != &other) {
        CBaseMessage::operator=(other);
        m_aryData.clear();
        for (CTimerData* pData : other.m_aryData)
            addData(new CTimerData(*pData));
    }
    return *this;
}

CMsgTimer::~CMsgTimer() = default;

void CMsgTimer::addData(CTimerData* pData)
{
    if (!pData)
        return;
    if (!m_aryData.add(pData))
        delete pData;
}

void CMsgTimer::deleteDataByID(std::uintptr_t uiID)
{
    for (unsigned int i = 0; i < m_aryData.getCount();) {
        if (m_aryData[i]->getID() == uiID)
            m_aryData.removeAt(i);
        else
            ++i;
    }
}

void CMsgTimer::margeDataFrom(CMsgTimer* pOther)
{
    if (!pOther || pOther == this)
        return;
    CObjectArray<CTimerData>& other = pOther->m_aryData;
    m_aryData.reserve(m_aryData.getCount() + other.getCount());
    for (CTimerData* pData : other)
        addData(pData);
    // The records now belong to this message: empty the other one without
    // deleting them.
    other.setOwning(false);
    other.clear();
    other.setOwning(true);
}

bool CMsgTimer::absorbNext(CBaseMessage* pNext)
{
    CMsgTimer* pOther = dynamic_cast<CMsgTimer*>(pNext);
    if (!pOther)
        return false;
    margeDataFrom(pOther);
    return true;
}

bool CMsgTimer::dropTimerEntries(std::uintptr_t uiTimerID)
{
    deleteDataByID(uiTimerID);
    return m_aryData.getCount() == 0;
}

void CMsgTimer::handleMessage()
{
    // Looked up once and handed to every record. Index loop: a callback
    // cannot change this message (it is off the queue), but it may stop or
    // delete any timer, which the deleted list reports for the records that
    // follow.
    CTimerManager* pManager = CTimerManager::getInstance();
    for (unsigned int i = 0; i < m_aryData.getCount(); ++i) {
        CTimerData* pData = m_aryData[i];
        if (!pManager->checkIsDeletedTimer(pData->getID()))
            pData->deliver(pManager);
    }
    pManager->clearDeletedTimer();
}

} // namespace Trell

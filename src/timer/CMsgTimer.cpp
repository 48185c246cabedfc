#include <timer/CMsgTimer.h>

#include <timer/CTimerManager.h>

namespace Trell {

CMsgTimer::CTimerData::CTimerData(CTimer* pTimer, CTimer::ETimerStatus eStatus, unsigned int uiCount)
    : CObject(),
      m_pTimer(pTimer),
      m_eStatus(eStatus),
      m_uiCount(uiCount),
      m_uiID(pTimer ? pTimer->getID() : 0)
{
}

CMsgTimer::CTimerData::CTimerData(const CTimerData& other)
    : CObject(other),
      m_pTimer(other.m_pTimer),
      m_eStatus(other.m_eStatus),
      m_uiCount(other.m_uiCount),
      m_uiID(other.m_uiID)
{
}

CMsgTimer::CTimerData& CMsgTimer::CTimerData::operator=(const CTimerData& other)
{
    CObject::operator=(other);
    m_pTimer = other.m_pTimer;
    m_eStatus = other.m_eStatus;
    m_uiCount = other.m_uiCount;
    m_uiID = other.m_uiID;
    return *this;
}

CMsgTimer::CTimerData::~CTimerData() = default;

void CMsgTimer::CTimerData::handleMessage()
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
    if (CTimerManager::getInstance()->checkIsDeletedTimer(m_uiID))
        return;
    m_pTimer->terminate();
}

CMsgTimer::CMsgTimer() : CBaseMessage(MESSAGE_TYPE_TIMER), m_aryData(true) {}

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

void CMsgTimer::handleMessage()
{
    CTimerManager* pManager = CTimerManager::getInstance();
    // Index loop: a callback cannot change this message (it is off the
    // queue), but it may stop or delete any timer, which the deleted list
    // reports for the records that follow.
    for (unsigned int i = 0; i < m_aryData.getCount(); ++i) {
        CTimerData* pData = m_aryData[i];
        if (!pManager->checkIsDeletedTimer(pData->getID()))
            pData->handleMessage();
    }
    pManager->clearDeletedTimer();
}

} // namespace Trell

#include <message/CMessageCenter.h>

#include <foundation/CSingleton.h>
#include <message/CMessages.h>
#include <platform/CAutoSync.h>

#include "message/TickClock.h"
#include "message/TouchRoute.h"

#include <atomic>
#include <cstdint>

namespace Trell {

namespace {

// A text message whose copy of the text could not be made (out of memory)
// would deliver other text than was pushed: it is dropped instead.
template <class TMessage>
TMessage* makeTextMessage(const CString& strText)
{
    TMessage* pMessage = new TMessage(strText);
    if (pMessage && pMessage->getText().length() != strText.length()) {
        delete pMessage;
        return nullptr;
    }
    return pMessage;
}

// Key codes and statuses that drive the modifier flags.
const unsigned int KEY_SHIFT = 16;
const unsigned int KEY_CTRL = 17;
const unsigned int KEY_ALT = 18;

// Nodes of popped messages kept for the next pushes: enough for the usual
// backlog, a bound on what a burst leaves behind.
const unsigned int MAX_SPARE_NODES = 256;

bool isRender(const CBaseMessage* pMessage)
{
    return pMessage->getType() == CBaseMessage::MESSAGE_TYPE_RENDER;
}

// Puts four distinct keys in ascending order. The table comes sorted from
// the previous pop and the scores keep most of that order, so an insertion
// sort usually ends after three compares that the branch predictor knows.
inline void sortKeys(std::uint64_t (&aKeys)[4])
{
    for (unsigned int i = 1; i < 4; ++i) {
        const std::uint64_t ullKey = aKeys[i];
        unsigned int j = i;
        for (; j > 0 && ullKey < aKeys[j - 1]; --j)
            aKeys[j] = aKeys[j - 1];
        aKeys[j] = ullKey;
    }
}

// Rewrites the scheduling table in the sorted order of aKeys (each key holds
// a row's score above its former place), with the scores, and with "now" as
// the last-served time of the row at sorted place uiServed.
void storeTable(CMessageCenter::tagMessageListInfo* pTable, unsigned int uiRows, const std::uint64_t (&aKeys)[4],
                unsigned int uiServed, unsigned int uiNow)
{
    // Field by field: whole-row copies of rows just written field by field
    // stall the loads behind the stores.
    unsigned int aList[4], aLast[4], aWeight[4];
    for (unsigned int i = 0; i < uiRows; ++i) {
        aList[i] = pTable[i].uiListNumber;
        aLast[i] = pTable[i].uiLastTime;
        aWeight[i] = pTable[i].uiWeight;
    }
    for (unsigned int i = 0; i < uiRows; ++i) {
        const unsigned int uiFrom = static_cast<unsigned int>(aKeys[i] & 3);
        pTable[i].uiListNumber = aList[uiFrom];
        pTable[i].uiLastTime = i == uiServed ? uiNow : aLast[uiFrom];
        pTable[i].uiScore = static_cast<unsigned int>(aKeys[i] >> 2);
        pTable[i].uiWeight = aWeight[uiFrom];
    }
}

// Constant-initialised, so the route installed while the library loads
// cannot be overwritten by a later initialisation of this file.
std::atomic<TouchRoute::PFN_ROUTE> s_pfnTouchRoute{nullptr};

} // namespace

TouchRoute::PFN_ROUTE TouchRoute::install(PFN_ROUTE pfnRoute)
{
    return s_pfnTouchRoute.exchange(pfnRoute);
}

CMessageCenter* CMessageCenter::s_pInstance = nullptr;

CMessageCenter* CMessageCenter::getInstance()
{
    return CSingleton<CMessageCenter>::getInstance(s_pInstance);
}

void CMessageCenter::deleteInstance()
{
    CSingleton<CMessageCenter>::deleteInstance(s_pInstance);
}

CMessageCenter::CMessageCenter()
    : CObject(), m_pListener(nullptr), m_listCommand(true), m_listInput(true), m_listData(true), m_listTimer(true),
      m_listRender(true), m_uiPhase(PHASE_USER), m_bLocked(false), m_bCtrlPressed(false), m_bShiftPressed(false),
      m_bAltPressed(false), m_pSpareNodes(nullptr), m_uiSpareNodes(0)
{
    // Input weighs 10, data 5, timer 2, render of the user phase 1.
    m_aryListInfo.reserve(4);
    m_aryListInfo.add(tagMessageListInfo{1, 0, 0, 10});
    m_aryListInfo.add(tagMessageListInfo{2, 0, 0, 5});
    m_aryListInfo.add(tagMessageListInfo{3, 0, 0, 2});
    m_aryListInfo.add(tagMessageListInfo{4, 0, 0, 1});
}

CMessageCenter::~CMessageCenter()
{
    // The owning lists destroy whatever is still queued.
    while (CObjectList<CBaseMessage>::tagNode* pNode = m_pSpareNodes) {
        m_pSpareNodes = pNode->pNext;
        CObjectList<CBaseMessage>::freeNode(pNode);
    }
}

// --- Pushes building a message ---

void CMessageCenter::pushQuitMessage()
{
    pushMessage(new CMsgQuit());
}

void CMessageCenter::pushRenderMessage(unsigned int uiID)
{
    // The duplicate test and the push share one critical section, so no
    // other push can slip in between them.
    CBaseMessage* pRejected = nullptr;
    {
        CAutoSync autoSync(m_syncObject);
        CObjectList<CBaseMessage>& list = getPhaseList();
        if (hasRenderMessageAtLast(list, uiID))
            return;
        if (!m_bLocked.load(std::memory_order_relaxed)) {
            CBaseMessage* pMessage = new CMsgRender(uiID);
            if (!pMessage)
                return;
            if (!pushRenderMessage(list, pMessage, m_uiPhase == PHASE_INPUT))
                pRejected = pMessage;
        }
    }
    delete pRejected;
    notifyMessageAvailable();
}

void CMessageCenter::pushSystemMessage(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener)
{
    pushMessage(new CMsgSystem(uiCommand, pData, pListener));
}

void CMessageCenter::pushUserMessage(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener)
{
    pushMessage(new CMsgUser(uiCommand, pData, pListener));
}

void CMessageCenter::pushGestureMessage(unsigned int uiGesture, unsigned int uiID, CObject* pData)
{
    pushMessage(new CMsgGesture(uiGesture, uiID, pData));
}

void CMessageCenter::pushHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus)
{
    std::atomic<bool>* pFlag = nullptr;
    if (uiKeyCode == KEY_CTRL)
        pFlag = &m_bCtrlPressed;
    else if (uiKeyCode == KEY_SHIFT)
        pFlag = &m_bShiftPressed;
    else if (uiKeyCode == KEY_ALT)
        pFlag = &m_bAltPressed;
    if (pFlag) {
        if (uiKeyStatus >= 1 && uiKeyStatus <= 3)
            pFlag->store(true, std::memory_order_relaxed);
        else if (uiKeyStatus == 4 || uiKeyStatus == 5)
            pFlag->store(false, std::memory_order_relaxed);
    }
    pushMessage(new CMsgHardkey(uiKeyCode, uiKeyStatus));
}

void CMessageCenter::pushIMEMessage(const CString& strText)
{
    pushMessage(makeTextMessage<CMsgIME>(strText));
}

void CMessageCenter::pushVoiceContentMessage(const CString& strText)
{
    pushMessage(makeTextMessage<CMsgVoiceContent>(strText));
}

void CMessageCenter::pushLogicEventMessage(unsigned int uiEvent)
{
    pushMessage(new CMsgLogicEvent(uiEvent));
}

void CMessageCenter::pushDataContextMessage(unsigned int uiID, CObject* pData)
{
    pushMessage(new CMsgDataContext(uiID, pData));
}

void CMessageCenter::pushTouchMessage(unsigned int uiSurface, unsigned int uiCursor, int iX, int iY,
                                      unsigned int uiStatus)
{
    // The input codes 0/1/2 become the statuses press/move/release (1/2/3)
    // in the cursor manager; the two numberings stay apart on purpose.
    if (uiStatus > 2)
        return;
    if (TouchRoute::PFN_ROUTE pfnRoute = s_pfnTouchRoute.load())
        pfnRoute(uiSurface, uiCursor, iX, iY, uiStatus);
}

// --- Intake ---

void CMessageCenter::pushMessage(CBaseMessage* pMessage)
{
    if (!pMessage)
        return;
    if (m_bLocked.load(std::memory_order_relaxed)) {
        delete pMessage;
        notifyMessageAvailable();
        return;
    }
    // Most messages are plain appends: their list and phase follow from the
    // type alone, so the node is made before the lock is taken and the
    // critical section only links it. Render and timer messages look at
    // what is queued and go through their appenders under the lock.
    CObjectList<CBaseMessage>* pAppendList = nullptr;
    unsigned int uiNewPhase = 0; // 0 keeps the phase
    switch (pMessage->getType()) {
    case CBaseMessage::MESSAGE_TYPE_SYSTEM:
    case CBaseMessage::MESSAGE_TYPE_QUIT: pAppendList = &m_listCommand; break;
    case CBaseMessage::MESSAGE_TYPE_TOUCH:
    case CBaseMessage::MESSAGE_TYPE_GESTURE:
    case CBaseMessage::MESSAGE_TYPE_HARDKEY:
    case CBaseMessage::MESSAGE_TYPE_IME:
    case CBaseMessage::MESSAGE_TYPE_LOGIC_EVENT:
    case CBaseMessage::MESSAGE_TYPE_VOICE_CONTENT:
        pAppendList = &m_listInput;
        uiNewPhase = PHASE_INPUT;
        break;
    case CBaseMessage::MESSAGE_TYPE_DATA_CONTEXT:
    case CBaseMessage::MESSAGE_TYPE_SHARE_MEMORY:
    case CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER:
    case CBaseMessage::MESSAGE_TYPE_HTTP_CONNECTOR:
    case CBaseMessage::MESSAGE_TYPE_WEB_BROWSER:
        pAppendList = &m_listData;
        uiNewPhase = PHASE_DATA;
        break;
    case CBaseMessage::MESSAGE_TYPE_USER:
        pAppendList = &m_listCommand;
        uiNewPhase = PHASE_USER;
        break;
    case CBaseMessage::MESSAGE_TYPE_RENDER:
    case CBaseMessage::MESSAGE_TYPE_TIMER: break;
    default:
        delete pMessage;
        notifyMessageAvailable();
        return;
    }

    bool bKept = false;
    if (pAppendList) {
        bKept = appendMessage(*pAppendList, pMessage, uiNewPhase);
    } else {
        CAutoSync autoSync(m_syncObject);
        if (pMessage->getType() == CBaseMessage::MESSAGE_TYPE_RENDER) {
            bKept = pushRenderMessage(getPhaseList(), pMessage, m_uiPhase == PHASE_INPUT);
        } else {
            bKept = pushTimerMessage(pMessage);
            m_uiPhase = PHASE_TIMER;
        }
    }
    // Destroyed outside the lock: a payload's destructor may do anything.
    if (!bKept)
        delete pMessage;
    notifyMessageAvailable();
}

bool CMessageCenter::appendMessage(CObjectList<CBaseMessage>& list, CBaseMessage* pMessage, unsigned int uiNewPhase)
{
    if (!pMessage)
        return false;
    // A node the consumer handed back saves a round through the allocator;
    // when none is in sight the node is made before the lock, so that the
    // allocator stays out of the critical section.
    CObjectList<CBaseMessage>::tagNode* pNode = nullptr;
    if (m_uiSpareNodes.load(std::memory_order_relaxed) == 0)
        pNode = CObjectList<CBaseMessage>::makeNode(pMessage);
    bool bKept = false;
    {
        CAutoSync autoSync(m_syncObject);
        if (!pNode && m_pSpareNodes) {
            pNode = m_pSpareNodes;
            m_pSpareNodes = pNode->pNext;
            m_uiSpareNodes.store(m_uiSpareNodes.load(std::memory_order_relaxed) - 1, std::memory_order_relaxed);
            pNode->pObject = pMessage;
        }
        // Another producer took the last spare since the look above.
        if (!pNode)
            pNode = CObjectList<CBaseMessage>::makeNode(pMessage);
        bKept = pNode && list.addNode(pNode);
        // Stored only on a change: a run of one kind then leaves the line of
        // the phase clean for the other threads that read beside it.
        if (bKept && uiNewPhase && m_uiPhase != uiNewPhase)
            m_uiPhase = uiNewPhase;
    }
    if (!bKept)
        CObjectList<CBaseMessage>::freeNode(pNode);
    return bKept;
}

bool CMessageCenter::pushInputMessage(CBaseMessage* pMessage)
{
    return appendMessage(m_listInput, pMessage, PHASE_INPUT);
}
bool CMessageCenter::pushDataMessage(CBaseMessage* pMessage)
{
    return appendMessage(m_listData, pMessage, PHASE_DATA);
}
bool CMessageCenter::pushUserMessage(CBaseMessage* pMessage)
{
    return appendMessage(m_listCommand, pMessage, PHASE_USER);
}

void CMessageCenter::notifyMessageAvailable()
{
    if (IMessageCenterListener* pListener = m_pListener)
        pListener->onMessageAvailable();
}

bool CMessageCenter::pushTimerMessage(CBaseMessage* pMessage)
{
    // Checks nobody has handled yet become one message, so a slow consumer
    // gets one message per backlog; the message kind does the merging.
    CBaseMessage* pLast = m_listTimer.getLast();
    if (pLast && pMessage->getType() == CBaseMessage::MESSAGE_TYPE_TIMER &&
        pLast->getType() == CBaseMessage::MESSAGE_TYPE_TIMER && pLast->absorbNext(pMessage))
        return false;
    return m_listTimer.add(pMessage);
}

bool CMessageCenter::pushRenderMessage(CObjectList<CBaseMessage>& list, CBaseMessage* pMessage, bool bCoalesce)
{
    const unsigned int uiID = pMessage->getID();
    if (bCoalesce && list.moveLast() && list.movePrev()) {
        // From the second-to-last element towards the head; the last one is
        // judged below.
        for (;;) {
            CBaseMessage* pCurrent = list.getCurrent();
            if (isRender(pCurrent) && pCurrent->getID() == uiID) {
                // The cursor moves on to the next element; step back past it.
                list.removeCurrent();
                if (!list.movePrev())
                    break;
            } else if (!list.movePrev()) {
                break;
            }
        }
    }
    CBaseMessage* pLast = list.getLast();
    if (pLast && isRender(pLast) && pLast->getID() == uiID)
        return false;
    return list.add(pMessage);
}

bool CMessageCenter::hasRenderMessageAtLast(CObjectList<CBaseMessage>& list, unsigned int uiID)
{
    if (!list.moveLast())
        return false;
    do {
        CBaseMessage* pCurrent = list.getCurrent();
        if (!isRender(pCurrent))
            return false;
        if (pCurrent->getID() == uiID)
            return true;
    } while (list.movePrev());
    return false;
}

CObjectList<CBaseMessage>& CMessageCenter::getPhaseList()
{
    switch (m_uiPhase) {
    case PHASE_INPUT: return m_listInput;
    case PHASE_DATA: return m_listData;
    case PHASE_TIMER: return m_listTimer;
    default: return m_listRender;
    }
}

// --- Consumer ---

CObjectPtr<CBaseMessage> CMessageCenter::popMessage()
{
    // The scores are computed and sorted outside the lock, before looking at
    // the command list: that way one lock serves both the command check and
    // the weighted choice. A command pop discards the order and the clock
    // reading, so the table and the clock's base are touched only by
    // weighted passes.
    tagMessageListInfo* const pTable = m_aryListInfo.getData();
    const unsigned int uiRows = m_aryListInfo.getCount() < 4 ? m_aryListInfo.getCount() : 4;
    const unsigned int uiTick = TickClock::now();
    const unsigned int uiNow = TickClock::peekSchedulingTime(uiTick);
    // Ascending by score, rows with equal scores keeping their table order
    // (the table keeps its sorted order between pops; both decide ties and
    // are relied upon): the same order as a bubble sort that swaps only on a
    // strictly smaller score. Each key is the score above the row's place
    // in the table, so sorting the keys sorts stably; a missing row sorts last.
    std::uint64_t aKeys[4];
    for (unsigned int i = 0; i < 4; ++i) {
        const std::uint64_t ullScore =
            i < uiRows ? static_cast<unsigned int>((uiNow - pTable[i].uiLastTime) * pTable[i].uiWeight) : 1ull << 32;
        aKeys[i] = (ullScore << 2) | i;
    }
    sortKeys(aKeys);

    // The node is unlinked under the lock and, when not kept as a spare,
    // freed after it is released.
    CObjectList<CBaseMessage>::tagNode* pNode = nullptr;
    CBaseMessage* pMessage = nullptr;
    unsigned int uiServed = 4; // the sorted place of the served row; 4 for none
    bool bWeighted = false;
    {
        CAutoSync autoSync(m_syncObject);
        pNode = m_listCommand.takeFirstNode();
        if (!pNode) {
            // The scheduled lists by list number.
            CObjectList<CBaseMessage>* const apLists[5] = {nullptr, &m_listInput, &m_listData, &m_listTimer,
                                                           &m_listRender};
            for (unsigned int i = uiRows; i-- > 0;) {
                const unsigned int uiList = pTable[aKeys[i] & 3].uiListNumber;
                CObjectList<CBaseMessage>* pList = uiList < 5 ? apLists[uiList] : nullptr;
                if (pList && (pNode = pList->takeFirstNode()) != nullptr) {
                    uiServed = i;
                    break;
                }
            }
            bWeighted = true;
        }
        if (pNode) {
            pMessage = pNode->pObject;
            // The node goes back to the producers, unless enough wait there.
            const unsigned int uiSpare = m_uiSpareNodes.load(std::memory_order_relaxed);
            if (uiSpare < MAX_SPARE_NODES) {
                pNode->pNext = m_pSpareNodes;
                m_pSpareNodes = pNode;
                m_uiSpareNodes.store(uiSpare + 1, std::memory_order_relaxed);
                pNode = nullptr;
            }
        }
    }
    if (bWeighted) {
        TickClock::commitSchedulingBase(uiTick);
        storeTable(pTable, uiRows, aKeys, uiServed, uiNow);
    }
    CObjectList<CBaseMessage>::freeNode(pNode);
    return CObjectPtr<CBaseMessage>(pMessage);
}

// --- Queries and removal ---

unsigned int CMessageCenter::getMessageCount()
{
    CAutoSync autoSync(m_syncObject);
    return m_listCommand.getCount() + m_listInput.getCount() + m_listData.getCount() + m_listTimer.getCount() +
           m_listRender.getCount();
}

unsigned int CMessageCenter::getMessageCountByType(CBaseMessage::EMessageType eType)
{
    CAutoSync autoSync(m_syncObject);
    CObjectList<CBaseMessage>* lists[] = {&m_listCommand, &m_listInput, &m_listData, &m_listTimer, &m_listRender};
    unsigned int uiCount = 0;
    for (CObjectList<CBaseMessage>* pList : lists) {
        for (CBaseMessage* pMessage : *pList) {
            if (pMessage->getType() == eType)
                ++uiCount;
        }
    }
    return uiCount;
}

void CMessageCenter::deleteMatching(bool bByType, CBaseMessage::EMessageType eType, bool bByID, unsigned int uiID)
{
    CAutoSync autoSync(m_syncObject);
    CObjectList<CBaseMessage>* lists[] = {&m_listCommand, &m_listInput, &m_listData, &m_listTimer, &m_listRender};
    for (CObjectList<CBaseMessage>* pList : lists) {
        bool bOn = pList->moveFirst();
        while (bOn) {
            CBaseMessage* pMessage = pList->getCurrent();
            const bool bMatch = (!bByType || pMessage->getType() == eType) && (!bByID || pMessage->getID() == uiID);
            bOn = bMatch ? pList->removeCurrent() : pList->moveNext();
        }
    }
}

void CMessageCenter::deleteMessageByID(unsigned int uiID)
{
    deleteMatching(false, CBaseMessage::MESSAGE_TYPE_UNKNOWN, true, uiID);
}

void CMessageCenter::deleteMessageByType(CBaseMessage::EMessageType eType)
{
    deleteMatching(true, eType, false, 0);
}

void CMessageCenter::deleteMessageByTypeAndID(CBaseMessage::EMessageType eType, unsigned int uiID)
{
    deleteMatching(true, eType, true, uiID);
}

void CMessageCenter::deleteTimerMessage(std::uintptr_t uiTimerID)
{
    CAutoSync autoSync(m_syncObject);
    bool bOn = m_listTimer.moveFirst();
    while (bOn) {
        CBaseMessage* pMessage = m_listTimer.getCurrent();
        if (pMessage->getType() == CBaseMessage::MESSAGE_TYPE_TIMER && pMessage->dropTimerEntries(uiTimerID))
            bOn = m_listTimer.removeCurrent();
        else
            bOn = m_listTimer.moveNext();
    }
}

void CMessageCenter::deleteMessageByListener(const void* pListener)
{
    CAutoSync autoSync(m_syncObject);
    CObjectList<CBaseMessage>* lists[] = {&m_listCommand, &m_listInput, &m_listData, &m_listTimer, &m_listRender};
    for (CObjectList<CBaseMessage>* pList : lists) {
        bool bOn = pList->moveFirst();
        while (bOn)
            bOn = pList->getCurrent()->isAddressedTo(pListener) ? pList->removeCurrent() : pList->moveNext();
    }
}

void CMessageCenter::clearMessageList()
{
    CAutoSync autoSync(m_syncObject);
    m_listCommand.clear();
    m_listInput.clear();
    m_listData.clear();
    m_listTimer.clear();
    m_listRender.clear();
}

} // namespace Trell

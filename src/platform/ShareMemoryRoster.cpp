#include <platform/ShareMemoryRoster.h>

#include <platform/CWaitObject.h>
#include <platform/IShareMemoryOwner.h>
#include <platform/PlatformLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

namespace Trell {

CShareMemoryRoster::CShareMemoryRoster(IShareMemoryOwner* pOwner)
    : m_pOwner(pOwner), m_pEvent(nullptr), m_pReader(nullptr), m_pRound(nullptr), m_pReaders(nullptr), m_pView(nullptr),
      m_uiKey(0), m_pEntry(nullptr)
{}

CShareMemoryRoster::~CShareMemoryRoster()
{
    delete m_pOwner;
    m_pOwner = nullptr;
}

CString CShareMemoryRoster::objectName(unsigned int uiKey, const char16_t* pszSuffix)
{
    return CStringConverter::format(u"%u%ls", uiKey, pszSuffix);
}

void CShareMemoryRoster::logWarning(const CString& strText)
{
    PlatformLog::logWarning(strText.buffer());
}

void CShareMemoryRoster::deleteEvents()
{
    delete m_pReader;
    m_pReader = nullptr;
    delete m_pEvent;
    m_pEvent = nullptr;
}

bool CShareMemoryRoster::open(unsigned int uiKey)
{
    close();
    m_uiKey = uiKey;
    if (!openObjects(uiKey) || (!m_pOwner->isWriter() && !registerReader())) {
        close();
        return false;
    }
    m_pOwner->setView(m_pView);
    return true;
}

void CShareMemoryRoster::close()
{
    unregisterReader();
    if (m_pOwner)
        m_pOwner->setView(nullptr);
    closeObjects();
    m_pView = nullptr;
    m_pRound = nullptr;
    m_pReaders = nullptr;
}

bool CShareMemoryRoster::registerReader()
{
    if (!lockRead(false)) {
        logWarning(CStringConverter::format(u"Shared memory %u: \"_Read\" stayed locked; reader refused.", m_uiKey));
        return false;
    }
    repairRoster(true);
    for (tagRosterEntry& entry : m_pReaders->aEntries) {
        if (entry.uiSlot.load() != 0)
            continue;
        // A reader that comes in while a block is out does not take part in its round.
        entry.uiJoined.store(m_pRound->load());
        entry.uiState.store(ROSTER_IDLE);
        claimEntry(entry);
        m_pEntry = &entry;
        break;
    }
    unlockRead();
    if (!m_pEntry) {
        logWarning(
            CStringConverter::format(u"Shared memory %u: more than %u readers; refused.", m_uiKey, ROSTER_READERS));
        return false;
    }
    return true;
}

void CShareMemoryRoster::unregisterReader()
{
    if (!m_pEntry)
        return;
    // Without "_Read" the entry stays: it counts as dead once this handle closes.
    if (lockRead(false)) {
        if (m_pEntry->uiState.load() != ROSTER_IDLE)
            writeCount(readCount() - 1);
        m_pEntry->uiState.store(ROSTER_IDLE);
        m_pEntry->uiSlot.store(0);
        unlockRead();
    }
    m_pEntry = nullptr;
    notifyJoined();
}

void CShareMemoryRoster::prepareStopForRead()
{
    if (m_pEvent)
        m_pEvent->notify();
}

void CShareMemoryRoster::prepareStopForWrite()
{
    // A mutex refuses a release by a thread that does not own it; the writer
    // thread, once woken, lets "_Write" go itself.
    unlockMutex(MUTEX_WRITE);
    notifyJoined();
}

void CShareMemoryRoster::run()
{
    if (!m_pReaders)
        return;
    if (m_pOwner->isWriter())
        runWriter();
    else
        runReader();
}

void CShareMemoryRoster::runWriter()
{
    while (!m_pOwner->isStopRequested()) {
        m_pOwner->setCanWrite(false);
        waitForJoins();
        if (!lockWriteForWriter())
            break;
        m_pOwner->setCanWrite(true);
        const bool bWritten = m_pOwner->waitDataWritten();
        unlockMutex(MUTEX_WRITE);
        if (bWritten)
            m_pRound->fetch_add(1);
        m_pEvent->notify();
    }
    m_pOwner->setCanWrite(false);
}

void CShareMemoryRoster::waitForJoins()
{
    while (!m_pOwner->isStopRequested()) {
        const std::uint32_t uiRound = m_pRound->load();
        bool bPending = false;
        bool bDead = false;
        for (const tagRosterEntry& entry : m_pReaders->aEntries) {
            const std::uint32_t uiSlot = entry.uiSlot.load();
            if (uiSlot == 0 || entry.uiJoined.load() == uiRound)
                continue;
            bPending = true;
            bDead = bDead || !isEntryAlive(entry, uiSlot);
        }
        if (!bPending)
            return;
        if (bDead) {
            if (lockRead(true)) {
                repairRoster(true);
                unlockRead();
            }
            continue;
        }
        waitJoined(POLL_MS);
    }
}

bool CShareMemoryRoster::lockWriteForWriter()
{
    for (;;) {
        const ELock eLock = lockMutex(MUTEX_WRITE, POLL_MS);
        if (eLock == LOCK_TAKEN)
            return true;
        if (eLock == LOCK_ABANDONED) {
            // Its holder died: a first reader (others may still read) or an
            // earlier writer. The dead reader's part passes to this thread.
            if (lockRead(true)) {
                repairRoster(true);
                unlockRead();
            }
            // On a stop "_Write" stays held: closing this handle abandons it
            // again, and the next writer takes the same care.
            return waitForHolders();
        }
        if (eLock == LOCK_FAILED || m_pOwner->isStopRequested())
            return false;
    }
}

void CShareMemoryRoster::runReader()
{
    while (!m_pOwner->isStopRequested()) {
        // 1. A round this reader has not joined, announced by "_Event". The
        // poll also catches a notify whose flag another reader cleared first.
        const std::uint32_t uiRound = m_pRound->load();
        if (uiRound == m_pEntry->uiJoined.load()) {
            m_pEvent->wait(POLL_MS);
            continue;
        }
        // 2.
        if (!lockRead(true))
            break;
        const bool bFirst = m_pOwner->readerCountChange(true) == 1;
        m_pEntry->uiState.store(bFirst ? ROSTER_WAITING : ROSTER_HOLDING);
        if (bFirst) {
            ELock eLock = LOCK_TIMEOUT;
            while (eLock == LOCK_TIMEOUT && !m_pOwner->isStopRequested())
                eLock = lockMutex(MUTEX_WRITE, POLL_MS);
            if (eLock != LOCK_TAKEN && eLock != LOCK_ABANDONED) {
                m_pOwner->readerCountChange(false);
                m_pEntry->uiState.store(ROSTER_IDLE);
                unlockRead();
                break;
            }
        }
        m_pEntry->uiState.store(ROSTER_HOLDING);
        m_pEntry->uiJoined.store(uiRound);
        unlockRead();
        // 3.
        if (m_pOwner->queueNotification())
            m_pOwner->waitNotificationHandled();
        // 4.
        if (!lockRead(false)) {
            // Left counted: the others drop this entry once its handle closes.
            if (bFirst)
                unlockMutex(MUTEX_WRITE);
            break;
        }
        const int iCount = m_pOwner->readerCountChange(false);
        m_pEntry->uiState.store(ROSTER_IDLE);
        unlockRead();
        // 5. A mutex is released only by the thread that owns it, hence the
        // hand-over through "_Reader".
        if (iCount == 0) {
            if (bFirst)
                unlockMutex(MUTEX_WRITE);
            else
                m_pReader->notify();
        } else if (bFirst && waitForHolders()) {
            unlockMutex(MUTEX_WRITE);
        }
        // On a stop while others still read, "_Write" stays held: closing
        // this handle abandons it, and the writer then waits for them.
        // The writer hears of the join only now: it could not take "_Write"
        // before anyway, and one wake-up is spared.
        notifyJoined();
    }
    unregisterReader();
}

bool CShareMemoryRoster::waitForHolders()
{
    for (;;) {
        if (m_pOwner->isStopRequested() || !lockRead(true))
            return false;
        const bool bLeft = isHolderLeft();
        unlockRead();
        if (!bLeft)
            return true;
        m_pReader->wait(POLL_MS);
    }
}

bool CShareMemoryRoster::isHolderLeft()
{
    for (const tagRosterEntry& entry : m_pReaders->aEntries) {
        if (&entry != m_pEntry && entry.uiSlot.load() != 0 && entry.uiState.load() == ROSTER_HOLDING)
            return true;
    }
    return false;
}

bool CShareMemoryRoster::lockRead(bool bStoppable)
{
    for (unsigned int uiWaited = 0;;) {
        const ELock eLock = lockMutex(MUTEX_READ, POLL_MS);
        if (eLock == LOCK_TAKEN || eLock == LOCK_ABANDONED) {
            // An abandoned "_Read" may hide a half-made change of the count.
            if (eLock == LOCK_ABANDONED || readCount() != 0)
                repairRoster(eLock == LOCK_ABANDONED);
            return true;
        }
        if (eLock == LOCK_FAILED)
            return false;
        uiWaited += POLL_MS;
        if (bStoppable ? m_pOwner->isStopRequested() : uiWaited >= GIVE_UP_MS)
            return false;
    }
}

void CShareMemoryRoster::repairRoster(bool bAllEntries)
{
    bool bDropped = false;
    bool bCountedDropped = false;
    for (tagRosterEntry& entry : m_pReaders->aEntries) {
        const std::uint32_t uiSlot = entry.uiSlot.load();
        if (uiSlot == 0 || &entry == m_pEntry)
            continue;
        const bool bCounted = entry.uiState.load() != ROSTER_IDLE;
        if ((!bAllEntries && !bCounted) || isEntryAlive(entry, uiSlot))
            continue;
        entry.uiState.store(ROSTER_IDLE);
        entry.uiSlot.store(0);
        bDropped = true;
        bCountedDropped = bCountedDropped || bCounted;
    }
    if (bCountedDropped || bAllEntries) {
        std::int32_t iLive = 0;
        for (const tagRosterEntry& entry : m_pReaders->aEntries)
            iLive += entry.uiSlot.load() != 0 && entry.uiState.load() != ROSTER_IDLE ? 1 : 0;
        const std::int32_t iCount = readCount();
        if (iCount != iLive) {
            logWarning(
                CStringConverter::format(u"Shared memory %u: a reader died; the reader count goes from %d to %d.",
                                         m_uiKey, static_cast<int>(iCount), static_cast<int>(iLive)));
            writeCount(iLive);
        }
    }
    if (bDropped)
        notifyJoined();
}

std::int32_t CShareMemoryRoster::readCount() const
{
    if (!m_pView)
        return 0;
    const std::uint32_t uiValue = static_cast<std::uint32_t>(m_pView[0]) | static_cast<std::uint32_t>(m_pView[1]) << 8 |
                                  static_cast<std::uint32_t>(m_pView[2]) << 16 |
                                  static_cast<std::uint32_t>(m_pView[3]) << 24;
    return static_cast<std::int32_t>(uiValue);
}

void CShareMemoryRoster::writeCount(std::int32_t iCount)
{
    if (!m_pView)
        return;
    const std::uint32_t uiValue = static_cast<std::uint32_t>(iCount);
    for (int i = 0; i < 4; ++i)
        m_pView[i] = static_cast<unsigned char>(uiValue >> (8 * i));
}

} // namespace Trell

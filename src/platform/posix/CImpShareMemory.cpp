#include <platform/posix/CImpShareMemory.h>

#include <platform/CWaitObject.h>
#include <platform/IShareMemoryOwner.h>
#include <platform/PlatformLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <string>

#include <sys/stat.h>

namespace Trell {

namespace {

// How long a thread that cannot be stopped (open, close) waits for "_Read"
// held by a live process before it gives up.
const unsigned int GIVE_UP_MS = 10000;

CString objectName(unsigned int uiKey, const char16_t* pszSuffix)
{
    return CStringConverter::format(u"%u%ls", uiKey, pszSuffix);
}

void logWarning(const CString& strText)
{
    PlatformLog::logWarning(strText.buffer());
}

} // namespace

namespace PlatformImp {

IShareMemory* createShareMemory(IShareMemoryOwner* pOwner)
{
    IShareMemory* pImpl = new CImpShareMemory(pOwner);
    if (!pImpl)
        delete pOwner;
    return pImpl;
}

} // namespace PlatformImp

CImpShareMemory::CImpShareMemory(IShareMemoryOwner* pOwner)
    : m_pOwner(pOwner),
      m_region(),
      m_mutexRead(),
      m_mutexWrite(),
      m_pEvent(nullptr),
      m_pReader(nullptr),
      m_roster(),
      m_pRoster(nullptr),
      m_pEntry(nullptr),
      m_pView(nullptr),
      m_uiKey(0)
{
}

CImpShareMemory::~CImpShareMemory()
{
    close();
    delete m_pOwner;
    m_pOwner = nullptr;
}

bool CImpShareMemory::open(unsigned int uiKey)
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

bool CImpShareMemory::openObjects(unsigned int uiKey)
{
    CString strName = objectName(uiKey, u"_ShareMemory");
    // A region that is new, or whose users all died, starts zeroed; a live
    // one is joined with its contents as they are.
    const CNamedObject::EOpen eRegion =
        m_region.open(CNamedObject::KIND_REGION, strName.buffer(), strName.length(), m_pOwner->getRegionSize());
    if (!m_region.isOpen()) {
        logRegionFailure(uiKey, eRegion);
        return false;
    }
    m_pView = static_cast<unsigned char*>(m_region.payload());

    CNamedMutex* apMutex[] = {&m_mutexRead, &m_mutexWrite};
    const char16_t* apszMutex[] = {u"_Read", u"_Write"};
    for (int i = 0; i < 2; ++i) {
        strName = objectName(uiKey, apszMutex[i]);
        if (apMutex[i]->open(strName.buffer(), strName.length()) > CNamedObject::OPEN_JOINED) {
            logWarning(CStringConverter::format(u"Shared memory %u: the mutex %ls could not be opened.", uiKey,
                                                strName.buffer()));
            return false;
        }
    }
    m_pEvent = new CWaitObject(objectName(uiKey, u"_Event"));
    m_pReader = new CWaitObject(objectName(uiKey, u"_Reader"));
    strName = objectName(uiKey, u"_Roster");
    m_roster.open(CNamedObject::KIND_REGION, strName.buffer(), strName.length(), sizeof(tagRoster));
    m_pRoster = static_cast<tagRoster*>(m_roster.payload());
    if (!m_pEvent || !m_pReader || !m_pRoster) {
        logWarning(CStringConverter::format(u"Shared memory %u: its events or its roster could not be opened.", uiKey));
        return false;
    }
    return true;
}

void CImpShareMemory::logRegionFailure(unsigned int uiKey, CNamedObject::EOpen eOpen)
{
    const unsigned int uiRegionSize = m_pOwner->getRegionSize();
    if (eOpen == CNamedObject::OPEN_REFUSED) {
        logWarning(CStringConverter::format(u"Shared memory %u: the region belongs to another user; refused.", uiKey));
        return;
    }
    if (uiRegionSize > CNamedObject::MAX_PAYLOAD_BYTES) {
        logWarning(CStringConverter::format(u"Shared memory %u: a region of %u bytes is too large; refused.", uiKey,
                                            uiRegionSize));
        return;
    }
    // A live region of another size is the likely cause: say so.
    const CString strName = objectName(uiKey, u"_ShareMemory");
    const std::string strPath =
        "/dev/shm/" + CNamedObject::fileName(CNamedObject::KIND_REGION, strName.buffer(), strName.length());
    struct stat st;
    if (stat(strPath.c_str(), &st) == 0 && st.st_size >= static_cast<off_t>(sizeof(CNamedObject::tagHeader)) &&
        static_cast<unsigned long long>(st.st_size) != sizeof(CNamedObject::tagHeader) + uiRegionSize) {
        const unsigned int uiFound = static_cast<unsigned int>(st.st_size - sizeof(CNamedObject::tagHeader));
        logWarning(CStringConverter::format(
            u"Shared memory %u: the region exists with a size of %u bytes, not %u; refused.", uiKey, uiFound,
            uiRegionSize));
        return;
    }
    logWarning(CStringConverter::format(u"Shared memory %u: the region could not be opened.", uiKey));
}

bool CImpShareMemory::registerReader()
{
    if (!lockRead(false)) {
        logWarning(CStringConverter::format(u"Shared memory %u: \"_Read\" stayed locked; reader refused.", m_uiKey));
        return false;
    }
    repairRoster(true);
    for (tagRosterEntry& entry : m_pRoster->aEntries) {
        if (entry.uiSlot.load() != 0)
            continue;
        // A reader that comes in while a block is out does not take part in its round.
        entry.uiJoined.store(m_pRoster->uiRound.load());
        entry.uiState.store(ROSTER_IDLE);
        entry.uiSlot.store(m_roster.slot());
        m_pEntry = &entry;
        break;
    }
    unlockRead();
    if (!m_pEntry) {
        logWarning(CStringConverter::format(u"Shared memory %u: more than %u readers; refused.", m_uiKey,
                                            ROSTER_READERS));
        return false;
    }
    return true;
}

void CImpShareMemory::unregisterReader()
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
    m_pRoster->joined.notify(true);
}

void CImpShareMemory::close()
{
    unregisterReader();
    if (m_pOwner)
        m_pOwner->setView(nullptr);
    m_pView = nullptr;
    m_pRoster = nullptr;
    m_roster.close();
    delete m_pReader;
    m_pReader = nullptr;
    delete m_pEvent;
    m_pEvent = nullptr;
    m_mutexWrite.close();
    m_mutexRead.close();
    m_region.close();
}

void CImpShareMemory::prepareStopForRead()
{
    if (m_pEvent)
        m_pEvent->notify();
}

void CImpShareMemory::prepareStopForWrite()
{
    // The named mutex refuses a release by a thread that does not own it;
    // the writer thread, once woken, lets "_Write" go itself.
    m_mutexWrite.unlock();
    if (m_pRoster)
        m_pRoster->joined.notify(true);
}

void CImpShareMemory::run()
{
    if (!m_pRoster)
        return;
    if (m_pOwner->isWriter())
        runWriter();
    else
        runReader();
}

void CImpShareMemory::runWriter()
{
    while (!m_pOwner->isStopRequested()) {
        m_pOwner->setCanWrite(false);
        waitForJoins();
        if (!lockWriteForWriter())
            break;
        m_pOwner->setCanWrite(true);
        const bool bWritten = m_pOwner->waitDataWritten();
        m_mutexWrite.unlock();
        if (bWritten)
            m_pRoster->uiRound.fetch_add(1);
        m_pEvent->notify();
    }
    m_pOwner->setCanWrite(false);
}

void CImpShareMemory::waitForJoins()
{
    while (!m_pOwner->isStopRequested()) {
        const std::uint32_t uiRound = m_pRoster->uiRound.load();
        bool bPending = false;
        bool bDead = false;
        for (const tagRosterEntry& entry : m_pRoster->aEntries) {
            const std::uint32_t uiSlot = entry.uiSlot.load();
            if (uiSlot == 0 || entry.uiJoined.load() == uiRound)
                continue;
            bPending = true;
            bDead = bDead || !m_roster.isSlotOpen(uiSlot);
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
        m_pRoster->joined.waitAndReset(true, POLL_MS, false);
    }
}

bool CImpShareMemory::lockWriteForWriter()
{
    for (;;) {
        const CNamedMutex::ELock eLock = m_mutexWrite.lock(POLL_MS, false);
        if (eLock == CNamedMutex::LOCK_TAKEN)
            return true;
        if (eLock == CNamedMutex::LOCK_ABANDONED) {
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
        if (eLock == CNamedMutex::LOCK_FAILED || m_pOwner->isStopRequested())
            return false;
    }
}

void CImpShareMemory::runReader()
{
    while (!m_pOwner->isStopRequested()) {
        // 1. A round this reader has not joined, announced by "_Event". The
        // poll also catches a notify whose flag another reader cleared first.
        const std::uint32_t uiRound = m_pRoster->uiRound.load();
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
            CNamedMutex::ELock eLock = CNamedMutex::LOCK_TIMEOUT;
            while (eLock == CNamedMutex::LOCK_TIMEOUT && !m_pOwner->isStopRequested())
                eLock = m_mutexWrite.lock(POLL_MS, false);
            if (eLock != CNamedMutex::LOCK_TAKEN && eLock != CNamedMutex::LOCK_ABANDONED) {
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
                m_mutexWrite.unlock();
            break;
        }
        const int iCount = m_pOwner->readerCountChange(false);
        m_pEntry->uiState.store(ROSTER_IDLE);
        unlockRead();
        // 5. A mutex is released only by the thread that owns it, hence the
        // hand-over through "_Reader".
        if (iCount == 0) {
            if (bFirst)
                m_mutexWrite.unlock();
            else
                m_pReader->notify();
        } else if (bFirst && waitForHolders()) {
            m_mutexWrite.unlock();
        }
        // On a stop while others still read, "_Write" stays held: closing
        // this handle abandons it, and the writer then waits for them.
        // The writer hears of the join only now: it could not take "_Write"
        // before anyway, and one wake-up is spared.
        m_pRoster->joined.notify(true);
    }
    unregisterReader();
}

bool CImpShareMemory::waitForHolders()
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

bool CImpShareMemory::isHolderLeft()
{
    for (const tagRosterEntry& entry : m_pRoster->aEntries) {
        if (&entry != m_pEntry && entry.uiSlot.load() != 0 && entry.uiState.load() == ROSTER_HOLDING)
            return true;
    }
    return false;
}

bool CImpShareMemory::lockRead(bool bStoppable)
{
    for (unsigned int uiWaited = 0;;) {
        const CNamedMutex::ELock eLock = m_mutexRead.lock(POLL_MS, false);
        if (eLock == CNamedMutex::LOCK_TAKEN || eLock == CNamedMutex::LOCK_ABANDONED) {
            // An abandoned "_Read" may hide a half-made change of the count.
            if (eLock == CNamedMutex::LOCK_ABANDONED || readCount() != 0)
                repairRoster(eLock == CNamedMutex::LOCK_ABANDONED);
            return true;
        }
        if (eLock == CNamedMutex::LOCK_FAILED)
            return false;
        uiWaited += POLL_MS;
        if (bStoppable ? m_pOwner->isStopRequested() : uiWaited >= GIVE_UP_MS)
            return false;
    }
}

void CImpShareMemory::repairRoster(bool bAllEntries)
{
    bool bDropped = false;
    bool bCountedDropped = false;
    for (tagRosterEntry& entry : m_pRoster->aEntries) {
        const std::uint32_t uiSlot = entry.uiSlot.load();
        if (uiSlot == 0 || &entry == m_pEntry)
            continue;
        const bool bCounted = entry.uiState.load() != ROSTER_IDLE;
        if ((!bAllEntries && !bCounted) || m_roster.isSlotOpen(uiSlot))
            continue;
        entry.uiState.store(ROSTER_IDLE);
        entry.uiSlot.store(0);
        bDropped = true;
        bCountedDropped = bCountedDropped || bCounted;
    }
    if (bCountedDropped || bAllEntries) {
        std::int32_t iLive = 0;
        for (const tagRosterEntry& entry : m_pRoster->aEntries)
            iLive += entry.uiSlot.load() != 0 && entry.uiState.load() != ROSTER_IDLE ? 1 : 0;
        const std::int32_t iCount = readCount();
        if (iCount != iLive) {
            logWarning(CStringConverter::format(
                u"Shared memory %u: a reader died; the reader count goes from %d to %d.", m_uiKey,
                static_cast<int>(iCount), static_cast<int>(iLive)));
            writeCount(iLive);
        }
    }
    if (bDropped)
        m_pRoster->joined.notify(true);
}

std::int32_t CImpShareMemory::readCount() const
{
    if (!m_pView)
        return 0;
    const std::uint32_t uiValue = static_cast<std::uint32_t>(m_pView[0]) | static_cast<std::uint32_t>(m_pView[1]) << 8 |
                                  static_cast<std::uint32_t>(m_pView[2]) << 16 |
                                  static_cast<std::uint32_t>(m_pView[3]) << 24;
    return static_cast<std::int32_t>(uiValue);
}

void CImpShareMemory::writeCount(std::int32_t iCount)
{
    if (!m_pView)
        return;
    const std::uint32_t uiValue = static_cast<std::uint32_t>(iCount);
    for (int i = 0; i < 4; ++i)
        m_pView[i] = static_cast<unsigned char>(uiValue >> (8 * i));
}

} // namespace Trell

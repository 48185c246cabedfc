#include <platform/win32/CImpShareMemory.h>

#include <platform/CWaitObject.h>
#include <platform/IShareMemoryOwner.h>
#include <platform/PlatformLog.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <cstring>
#include <mutex>
#include <set>

#include <windows.h>

namespace Trell {

namespace {

CString objectName(unsigned int uiKey, const char16_t* pszSuffix)
{
    return CStringConverter::format(u"%u%ls", uiKey, pszSuffix);
}

void logWarning(const CString& strText)
{
    PlatformLog::logWarning(strText.buffer());
}

// The roster handles this process has open, by key and number: an entry of
// this process whose handle is not here was left by a handle closed without
// unregistering.
std::mutex g_openSlotsMutex;
std::set<std::pair<unsigned int, std::uint32_t>> g_openSlots;

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
      m_hRegion(nullptr),
      m_mutexRead(),
      m_mutexWrite(),
      m_pEvent(nullptr),
      m_pReader(nullptr),
      m_pJoined(nullptr),
      m_hRoster(nullptr),
      m_pRoster(nullptr),
      m_pEntry(nullptr),
      m_uiSlot(0),
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

void* CImpShareMemory::mapRegion(const CString& strName, unsigned int uiBytes, void*& hMapping, bool& bCreated)
{
    // No security attributes: the handle is not inherited by children.
    hMapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, uiBytes,
                                  WideText::toWide(strName));
    if (!hMapping)
        return nullptr;
    bCreated = GetLastError() != ERROR_ALREADY_EXISTS;
    void* pView = MapViewOfFile(hMapping, FILE_MAP_ALL_ACCESS, 0, 0, uiBytes);
    if (!pView) {
        CloseHandle(hMapping);
        hMapping = nullptr;
    }
    return pView;
}

bool CImpShareMemory::openObjects(unsigned int uiKey)
{
    const unsigned int uiRegionSize = m_pOwner->getRegionSize();
    bool bCreated = false;
    // The roster first: it records the region's size, which the mapping
    // itself does not tell.
    m_pRoster = static_cast<tagRoster*>(mapRegion(objectName(uiKey, u"_Roster"), sizeof(tagRoster), m_hRoster, bCreated));
    if (!m_pRoster) {
        logWarning(CStringConverter::format(u"Shared memory %u: its events or its roster could not be opened.", uiKey));
        return false;
    }
    std::uint32_t uiFound = 0;
    if (!m_pRoster->uiRegionBytes.compare_exchange_strong(uiFound, uiRegionSize) && uiFound != uiRegionSize) {
        logWarning(CStringConverter::format(
            u"Shared memory %u: the region exists with a size of %u bytes, not %u; refused.", uiKey, uiFound,
            uiRegionSize));
        return false;
    }
    void* hRegion = nullptr;
    m_pView = static_cast<unsigned char*>(mapRegion(objectName(uiKey, u"_ShareMemory"), uiRegionSize, hRegion, bCreated));
    m_hRegion = hRegion;
    if (!m_pView) {
        logWarning(CStringConverter::format(u"Shared memory %u: the region could not be opened.", uiKey));
        return false;
    }
    // A region that is new starts zeroed; a live one is joined as it is.
    if (bCreated)
        std::memset(m_pView, 0, uiRegionSize);

    CNamedMutex* apMutex[] = {&m_mutexRead, &m_mutexWrite};
    const char16_t* apszMutex[] = {u"_Read", u"_Write"};
    for (int i = 0; i < 2; ++i) {
        const CString strName = objectName(uiKey, apszMutex[i]);
        if (!apMutex[i]->open(strName)) {
            logWarning(CStringConverter::format(u"Shared memory %u: the mutex %ls could not be opened.", uiKey,
                                                strName.buffer()));
            return false;
        }
    }
    m_pEvent = new CWaitObject(objectName(uiKey, u"_Event"));
    m_pReader = new CWaitObject(objectName(uiKey, u"_Reader"));
    m_pJoined = new CWaitObject(objectName(uiKey, u"_Joined"));
    if (!m_pEvent || !m_pReader || !m_pJoined) {
        logWarning(CStringConverter::format(u"Shared memory %u: its events or its roster could not be opened.", uiKey));
        return false;
    }
    m_uiSlot = m_pRoster->uiNextSlot.fetch_add(1) + 1;
    if (m_uiSlot == 0)
        m_uiSlot = m_pRoster->uiNextSlot.fetch_add(1) + 1;
    std::lock_guard<std::mutex> guard(g_openSlotsMutex);
    g_openSlots.insert(std::make_pair(uiKey, m_uiSlot));
    return true;
}

bool CImpShareMemory::isEntryAlive(const tagRosterEntry& entry) const
{
    const std::uint32_t uiProcess = entry.uiProcess.load();
    if (uiProcess == GetCurrentProcessId()) {
        std::lock_guard<std::mutex> guard(g_openSlotsMutex);
        return g_openSlots.count(std::make_pair(m_uiKey, entry.uiSlot.load())) != 0;
    }
    HANDLE hProcess = OpenProcess(SYNCHRONIZE, FALSE, uiProcess);
    if (!hProcess)
        // In doubt a process that exists but refuses the handle counts as
        // alive: a wrong "dead" would hand the region to two holders.
        return GetLastError() == ERROR_ACCESS_DENIED;
    const bool bAlive = WaitForSingleObject(hProcess, 0) == WAIT_TIMEOUT;
    CloseHandle(hProcess);
    return bAlive;
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
        entry.uiProcess.store(GetCurrentProcessId());
        entry.uiSlot.store(m_uiSlot);
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
    m_pJoined->notify();
}

void CImpShareMemory::close()
{
    unregisterReader();
    if (m_uiSlot != 0) {
        std::lock_guard<std::mutex> guard(g_openSlotsMutex);
        g_openSlots.erase(std::make_pair(m_uiKey, m_uiSlot));
        m_uiSlot = 0;
    }
    if (m_pOwner)
        m_pOwner->setView(nullptr);
    if (m_pView)
        UnmapViewOfFile(m_pView);
    m_pView = nullptr;
    if (m_hRegion)
        CloseHandle(m_hRegion);
    m_hRegion = nullptr;
    delete m_pJoined;
    m_pJoined = nullptr;
    delete m_pReader;
    m_pReader = nullptr;
    delete m_pEvent;
    m_pEvent = nullptr;
    m_mutexWrite.close();
    m_mutexRead.close();
    if (m_pRoster)
        UnmapViewOfFile(m_pRoster);
    m_pRoster = nullptr;
    if (m_hRoster)
        CloseHandle(m_hRoster);
    m_hRoster = nullptr;
}

void CImpShareMemory::prepareStopForRead()
{
    if (m_pEvent)
        m_pEvent->notify();
}

void CImpShareMemory::prepareStopForWrite()
{
    // A mutex refuses a release by a thread that does not own it; the writer
    // thread, once woken, lets "_Write" go itself.
    m_mutexWrite.unlock();
    if (m_pJoined)
        m_pJoined->notify();
}

void CImpShareMemory::run()
{
    if (!m_pRoster || !m_pJoined)
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
            if (entry.uiSlot.load() == 0 || entry.uiJoined.load() == uiRound)
                continue;
            bPending = true;
            bDead = bDead || !isEntryAlive(entry);
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
        m_pJoined->forceWait(POLL_MS);
    }
}

bool CImpShareMemory::lockWriteForWriter()
{
    for (;;) {
        const CNamedMutex::ELock eLock = m_mutexWrite.lock(POLL_MS);
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
            m_pEvent->forceWait(POLL_MS);
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
                eLock = m_mutexWrite.lock(POLL_MS);
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
        m_pJoined->notify();
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
        m_pReader->forceWait(POLL_MS);
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
        const CNamedMutex::ELock eLock = m_mutexRead.lock(POLL_MS);
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
        if (entry.uiSlot.load() == 0 || &entry == m_pEntry)
            continue;
        const bool bCounted = entry.uiState.load() != ROSTER_IDLE;
        if ((!bAllEntries && !bCounted) || isEntryAlive(entry))
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
        m_pJoined->notify();
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

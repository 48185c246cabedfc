#include <platform/win32/CImpShareMemory.h>

#include <platform/CWaitObject.h>
#include <platform/IShareMemoryOwner.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <cstring>
#include <mutex>
#include <set>

#include <windows.h>

namespace Trell {

namespace {

// The roster handles this process has open, by key and number: an entry of
// this process whose handle is not here was left by a handle closed without
// unregistering.
std::mutex g_openSlotsMutex;
std::set<std::pair<unsigned int, std::uint32_t>> g_openSlots;

} // namespace

CImpShareMemory::CImpShareMemory(IShareMemoryOwner* pOwner)
    : CShareMemoryRoster(pOwner), m_hRegion(nullptr), m_mutexRead(), m_mutexWrite(), m_pJoined(nullptr),
      m_hRoster(nullptr), m_pRoster(nullptr), m_uiSlot(0)
{}

CImpShareMemory::~CImpShareMemory()
{
    close();
}

void* CImpShareMemory::mapRegion(const CString& strName, unsigned int uiBytes, void*& hMapping, bool& bCreated)
{
    // No security attributes: the handle is not inherited by children.
    hMapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, uiBytes, WideText::toWide(strName));
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
    m_pRoster =
        static_cast<tagRoster*>(mapRegion(objectName(uiKey, u"_Roster"), sizeof(tagRoster), m_hRoster, bCreated));
    if (!m_pRoster) {
        logWarning(CStringConverter::format(u"Shared memory %u: its events or its roster could not be opened.", uiKey));
        return false;
    }
    m_pRound = &m_pRoster->uiRound;
    m_pReaders = &m_pRoster->readers;
    std::uint32_t uiFound = 0;
    if (!m_pRoster->uiRegionBytes.compare_exchange_strong(uiFound, uiRegionSize) && uiFound != uiRegionSize) {
        logWarning(
            CStringConverter::format(u"Shared memory %u: the region exists with a size of %u bytes, not %u; refused.",
                                     uiKey, uiFound, uiRegionSize));
        return false;
    }
    void* hRegion = nullptr;
    m_pView =
        static_cast<unsigned char*>(mapRegion(objectName(uiKey, u"_ShareMemory"), uiRegionSize, hRegion, bCreated));
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

bool CImpShareMemory::isEntryAlive(const tagRosterEntry& entry, std::uint32_t uiSlot) const
{
    const std::uint32_t uiProcess = entry.uiProcess.load();
    if (uiProcess == GetCurrentProcessId()) {
        std::lock_guard<std::mutex> guard(g_openSlotsMutex);
        return g_openSlots.count(std::make_pair(m_uiKey, uiSlot)) != 0;
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

void CImpShareMemory::claimEntry(tagRosterEntry& entry)
{
    entry.uiProcess.store(GetCurrentProcessId());
    entry.uiSlot.store(m_uiSlot);
}

void CImpShareMemory::closeObjects()
{
    if (m_uiSlot != 0) {
        std::lock_guard<std::mutex> guard(g_openSlotsMutex);
        g_openSlots.erase(std::make_pair(m_uiKey, m_uiSlot));
        m_uiSlot = 0;
    }
    if (m_pView)
        UnmapViewOfFile(m_pView);
    m_pView = nullptr;
    if (m_hRegion)
        CloseHandle(m_hRegion);
    m_hRegion = nullptr;
    delete m_pJoined;
    m_pJoined = nullptr;
    deleteEvents();
    m_mutexWrite.close();
    m_mutexRead.close();
    if (m_pRoster)
        UnmapViewOfFile(m_pRoster);
    m_pRoster = nullptr;
    if (m_hRoster)
        CloseHandle(m_hRoster);
    m_hRoster = nullptr;
}

CShareMemoryRoster::ELock CImpShareMemory::lockMutex(EMutex eMutex, unsigned int uiMilliseconds)
{
    return toLock((eMutex == MUTEX_READ ? m_mutexRead : m_mutexWrite).lock(uiMilliseconds));
}

void CImpShareMemory::unlockMutex(EMutex eMutex)
{
    (eMutex == MUTEX_READ ? m_mutexRead : m_mutexWrite).unlock();
}

void CImpShareMemory::notifyJoined()
{
    if (m_pJoined)
        m_pJoined->notify();
}

void CImpShareMemory::waitJoined(unsigned int uiMilliseconds)
{
    m_pJoined->forceWait(uiMilliseconds);
}

} // namespace Trell

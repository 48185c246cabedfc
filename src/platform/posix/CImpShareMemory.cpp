#include <platform/posix/CImpShareMemory.h>

#include <platform/CWaitObject.h>
#include <platform/IShareMemoryOwner.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <string>

#include <sys/stat.h>

namespace Trell {

CImpShareMemory::CImpShareMemory(IShareMemoryOwner* pOwner)
    : CShareMemoryRoster(pOwner), m_region(), m_mutexRead(), m_mutexWrite(), m_roster(), m_pRoster(nullptr)
{}

CImpShareMemory::~CImpShareMemory()
{
    close();
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
    if (m_pRoster) {
        m_pRound = &m_pRoster->uiRound;
        m_pReaders = &m_pRoster->readers;
    }
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
        logWarning(
            CStringConverter::format(u"Shared memory %u: the region exists with a size of %u bytes, not %u; refused.",
                                     uiKey, uiFound, uiRegionSize));
        return;
    }
    logWarning(CStringConverter::format(u"Shared memory %u: the region could not be opened.", uiKey));
}

void CImpShareMemory::closeObjects()
{
    m_pRoster = nullptr;
    m_roster.close();
    deleteEvents();
    m_mutexWrite.close();
    m_mutexRead.close();
    m_region.close();
}

CShareMemoryRoster::ELock CImpShareMemory::lockMutex(EMutex eMutex, unsigned int uiMilliseconds)
{
    return toLock((eMutex == MUTEX_READ ? m_mutexRead : m_mutexWrite).lock(uiMilliseconds, false));
}

void CImpShareMemory::unlockMutex(EMutex eMutex)
{
    (eMutex == MUTEX_READ ? m_mutexRead : m_mutexWrite).unlock();
}

void CImpShareMemory::notifyJoined()
{
    if (m_pRoster)
        m_pRoster->joined.notify(true);
}

void CImpShareMemory::waitJoined(unsigned int uiMilliseconds)
{
    m_pRoster->joined.waitAndReset(true, uiMilliseconds, false);
}

bool CImpShareMemory::isEntryAlive(const tagRosterEntry&, std::uint32_t uiSlot) const
{
    return m_roster.isSlotOpen(uiSlot);
}

void CImpShareMemory::claimEntry(tagRosterEntry& entry)
{
    entry.uiSlot.store(m_roster.slot());
}

} // namespace Trell

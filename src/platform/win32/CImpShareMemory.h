#pragma once

// Windows side of the shared-memory channel (CShareMemory).
//
// The kernel objects of channel key K (K as decimal text), named in the
// session's namespace (no "Global\" or "Local\" prefix: a bare name is
// local to the session, which is where the channel's processes run):
//   "K_ShareMemory"     file mapping on the paging file: data size + 8 bytes
//                       (count, length, data), zeroed by its creator;
//   "K_Read", "K_Write" mutexes (CreateMutexW): a holder that dies leaves the
//                       mutex abandoned and the next locker takes it over;
//   "K_Event", "K_Reader" named CWaitObjects (manual-reset events);
//   "K_Roster"          file mapping, the readers' roster (below), and
//   "K_Joined"          its event: a reader joined a round or left.
// The kernel removes each object with its last handle.
//
// The roster, the rounds and the hand-over of blocks are the shared part
// (ShareMemoryRoster.h). Here a reader's roster entry names its process and
// handle; an entry whose process has ended, or whose handle this process has
// closed, is dead.
//
// Threading: open and close run on the controlling thread while the worker
// is stopped; run runs on the worker; prepareStopForRead/Write on the
// controlling thread while the worker runs.

#include <platform/ShareMemoryRoster.h>
#include <platform/win32/NamedMutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Trell {

class CImpShareMemory : public CShareMemoryRoster
{
    TRELL_DECLARE_ALLOCATOR(u"CImpShareMemory")

public:
    struct tagRoster
    {
        std::atomic<std::uint32_t> uiRound;       // blocks released by writers
        std::atomic<std::uint32_t> uiNextSlot;    // hands out handle numbers
        std::atomic<std::uint32_t> uiRegionBytes; // the region's size, set by its first user
        std::uint32_t uiReserved;
        tagRosterEntries readers;
    };

    // Takes ownership of pOwner.
    explicit CImpShareMemory(IShareMemoryOwner* pOwner);
    ~CImpShareMemory() override;

private:
    CImpShareMemory(const CImpShareMemory&) = delete;
    CImpShareMemory& operator=(const CImpShareMemory&) = delete;

    bool openObjects(unsigned int uiKey) override;
    void closeObjects() override;
    ELock lockMutex(EMutex eMutex, unsigned int uiMilliseconds) override;
    void unlockMutex(EMutex eMutex) override;
    void notifyJoined() override;
    void waitJoined(unsigned int uiMilliseconds) override;
    bool isEntryAlive(const tagRosterEntry& entry, std::uint32_t uiSlot) const override;
    void claimEntry(tagRosterEntry& entry) override;

    // Maps the named mapping of uiBytes; bCreated tells whether it was new.
    void* mapRegion(const CString& strName, unsigned int uiBytes, void*& hMapping, bool& bCreated);

    void* m_hRegion; // HANDLE of "_ShareMemory"
    CNamedMutex m_mutexRead;
    CNamedMutex m_mutexWrite;
    CWaitObject* m_pJoined;
    void* m_hRoster; // HANDLE of "_Roster"
    tagRoster* m_pRoster;
    std::uint32_t m_uiSlot; // this handle's number in the roster
};

static_assert(offsetof(CImpShareMemory::tagRoster, readers) == 16, "shared layout");

} // namespace Trell

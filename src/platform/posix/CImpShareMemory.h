#pragma once

// POSIX side of the shared-memory channel (CShareMemory).
//
// The named objects of channel key K (K as decimal text) are named objects
// of NamedObject.h: files under /dev/shm, owner-only, reclaimed by the next
// open once every user has died, removed by the last close.
//   "K_ShareMemory"     the region, trell.mem.K_ShareMemory: data size + 8
//                       bytes (count, length, data), zeroed by its creator;
//   "K_Read", "K_Write" named mutexes, trell.mtx.*: a holder that dies leaves
//                       the mutex abandoned and the next locker takes it over;
//   "K_Event", "K_Reader" named CWaitObjects, trell.evt.*;
//   "K_Roster"          trell.mem.K_Roster, the readers' roster (ShareMemoryRoster.h).
//
// The roster, the rounds and the hand-over of blocks are the shared part
// (ShareMemoryRoster.h). Here dead readers are found by liveness, not
// timeouts: each handle holds a lock that the kernel drops when its process
// dies (CNamedObject::isSlotOpen), and a reader's roster entry names its
// roster handle. A waiter on a named mutex notices a dead owner within its
// POLL_MS, so a reader killed while holding the region stops blocking the
// writer after about POLL_MS (100 ms). A live reader that never lets go (its
// message loop stopped) keeps the writer waiting: the region stays locked
// until the listener has consumed it.
//
// Threading: open and close run on the controlling thread while the worker
// is stopped; run runs on the worker; prepareStopForRead/Write on the
// controlling thread while the worker runs.

#include <platform/ShareMemoryRoster.h>
#include <platform/posix/NamedObject.h>

#include <cstddef>
#include <cstdint>

namespace Trell {

class CImpShareMemory : public CShareMemoryRoster
{
    TRELL_DECLARE_ALLOCATOR(u"CImpShareMemory")

public:
    struct tagRoster
    {
        std::atomic<std::uint32_t> uiRound; // blocks released by writers
        std::uint32_t auiReserved[3];
        tagEventWords joined; // a reader joined a round or left
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

    void logRegionFailure(unsigned int uiKey, CNamedObject::EOpen eOpen);

    CNamedObject m_region;
    CNamedMutex m_mutexRead;
    CNamedMutex m_mutexWrite;
    CNamedObject m_roster;
    tagRoster* m_pRoster;
};

static_assert(offsetof(CImpShareMemory::tagRoster, joined) == 16, "shared layout");
static_assert(offsetof(CImpShareMemory::tagRoster, readers) == 32, "shared layout");

} // namespace Trell

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
//   "K_Roster"          trell.mem.K_Roster, this layer's bookkeeping (below).
//
// Beyond the Win32 design:
//  - Rounds. A writer that releases "_Write" and sets "_Event" would take
//    "_Write" straight back before any woken reader got to it (nothing hands
//    a mutex to a waiter), and readers would see each block only after the
//    next one had overwritten it. So the writer counts rounds in the roster:
//    it bumps the round with every block it releases, each registered reader
//    records the last round it joined (counted itself and, as the first,
//    took "_Write"), and the writer locks "_Write" again only once every
//    registered reader has joined. A reader joins a round whose "_Event" it
//    missed as well, and a wake without a new round (a closing reader sets
//    "_Event" for all) delivers nothing.
//  - Dead readers: liveness, not timeouts. Each handle holds a lock that the
//    kernel drops when its process dies (CNamedObject::isSlotOpen), and a
//    reader's roster entry names its roster handle. Dead entries are dropped,
//    and the count at offset 0 set to the readers still counted (logged), by
//    a reader that registers; by the writer while it waits for a round's
//    readers (it looks again every POLL_MS); by whoever takes "_Read" while
//    the count is not 0 (counted entries only) or takes "_Read" abandoned;
//    and by the writer when it takes "_Write" abandoned. A first reader waits
//    for "_Reader" until no other registered reader holds the region,
//    looking again every POLL_MS; a writer that takes "_Write" abandoned (its
//    first reader died holding it) does the same before it lets writeData
//    in. A waiter on a named mutex notices a dead owner within its POLL_MS,
//    so a reader killed while holding the region stops blocking the writer
//    after about POLL_MS (100 ms). A live reader that never lets go (its
//    message loop stopped) keeps the writer waiting: the region stays locked
//    until the listener has consumed it. Only a live holder of "_Read" meets
//    a timeout: after GIVE_UP_MS (10 s) a reader's open refuses (logged),
//    and its close or its release of a block gives up and leaves its entry
//    to the others.
//  - Dead writers: a writer that dies while writing never announces the
//    round, so no reader delivers the torn block; the next writer takes
//    "_Write" over and its first block replaces it.
//  - Every wait looks at the stop request at least every POLL_MS, so a
//    close never hangs.
//
// Threading: open and close run on the controlling thread while the worker
// is stopped; run runs on the worker; prepareStopForRead/Write on the
// controlling thread while the worker runs.

#include <platform/IShareMemory.h>
#include <platform/posix/NamedObject.h>

#include <cstddef>
#include <cstdint>

namespace Trell {

class CWaitObject;
class IShareMemoryOwner;

class CImpShareMemory : public IShareMemory
{
    TRELL_DECLARE_ALLOCATOR(u"CImpShareMemory")

public:
    static const unsigned int POLL_MS = 100;
    static const unsigned int ROSTER_READERS = 128;

    // One registered reader; every field is changed under "_Read".
    struct tagRosterEntry
    {
        std::atomic<std::uint32_t> uiSlot;   // its roster handle's slot; 0: free
        std::atomic<std::uint32_t> uiJoined; // the last round it joined (or found on registering)
        std::atomic<std::uint32_t> uiState;  // ERosterState
        std::uint32_t uiReserved;
    };
    enum ERosterState
    {
        ROSTER_IDLE = 0,
        ROSTER_WAITING = 1, // counted, waiting for "_Write" as the first reader
        ROSTER_HOLDING = 2  // counted, holding the region
    };
    struct tagRoster
    {
        std::atomic<std::uint32_t> uiRound; // blocks released by writers
        std::uint32_t auiReserved[3];
        tagEventWords joined; // a reader joined a round or left
        tagRosterEntry aEntries[ROSTER_READERS];
    };

    // Takes ownership of pOwner.
    explicit CImpShareMemory(IShareMemoryOwner* pOwner);
    ~CImpShareMemory() override;

    bool open(unsigned int uiKey) override;
    void close() override;
    void prepareStopForRead() override;
    void prepareStopForWrite() override;
    void run() override;

private:
    CImpShareMemory(const CImpShareMemory&) = delete;
    CImpShareMemory& operator=(const CImpShareMemory&) = delete;

    bool openObjects(unsigned int uiKey);
    void logRegionFailure(unsigned int uiKey, CNamedObject::EOpen eOpen);
    bool registerReader();
    void unregisterReader();

    void runWriter();
    void runReader();
    // Writer: until every registered reader joined the current round (or a stop).
    void waitForJoins();
    // Writer: takes "_Write"; false on a stop request.
    bool lockWriteForWriter();
    // Until no registered reader but this one holds the region; false on a
    // stop request.
    bool waitForHolders();

    // "_Read", then the roster check (see above). False on a stop request
    // (bStoppable) or after GIVE_UP_MS of a live holder (not bStoppable).
    bool lockRead(bool bStoppable);
    void unlockRead() { m_mutexRead.unlock(); }
    // Drops the entries of dead readers (all of them, or only the counted
    // ones), then sets the count to the live counted readers if one was
    // dropped. Under "_Read".
    void repairRoster(bool bAllEntries);
    bool isHolderLeft();

    std::int32_t readCount() const;
    void writeCount(std::int32_t iCount);

    IShareMemoryOwner* m_pOwner; // owned
    CNamedObject m_region;
    CNamedMutex m_mutexRead;
    CNamedMutex m_mutexWrite;
    CWaitObject* m_pEvent;
    CWaitObject* m_pReader;
    CNamedObject m_roster;
    tagRoster* m_pRoster;
    tagRosterEntry* m_pEntry; // this reader's registration
    unsigned char* m_pView;
    unsigned int m_uiKey;
};

static_assert(sizeof(CImpShareMemory::tagRosterEntry) == 16, "shared layout");
static_assert(offsetof(CImpShareMemory::tagRoster, joined) == 16, "shared layout");
static_assert(offsetof(CImpShareMemory::tagRoster, aEntries) == 32, "shared layout");

} // namespace Trell

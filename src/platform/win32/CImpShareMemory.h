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
//   "K_Roster"          file mapping, this layer's bookkeeping (below), and
//   "K_Joined"          its event: a reader joined a round or left.
// The kernel removes each object with its last handle.
//
// Beyond the plain handshake:
//  - Rounds. A writer that releases "_Write" and sets "_Event" would take
//    "_Write" straight back before any woken reader got to it (a mutex is not
//    handed to a waiter in order), and readers would see each block only after
//    the next one had overwritten it. So the writer counts rounds in the
//    roster: it bumps the round with every block it releases, each registered
//    reader records the last round it joined (counted itself and, as the
//    first, took "_Write"), and the writer locks "_Write" again only once
//    every registered reader has joined. A reader joins a round whose
//    "_Event" it missed as well, and a wake without a new round delivers
//    nothing.
//  - Dead readers. A reader's roster entry names its process and handle; an
//    entry whose process has ended, or whose handle this process has closed,
//    is dead. A participant that finds one drops it and sets the count at
//    offset 0 to the readers still counted: the writer while it waits for a
//    round's readers, anyone who takes "_Read" while the count is not 0 or
//    takes a mutex abandoned. The first reader waits for "_Reader" until no
//    other registered reader holds the region, looking again every POLL_MS;
//    a writer that takes "_Write" abandoned does the same before it lets
//    writeData in.
//  - Dead writers: a writer that dies while writing never announces the
//    round, so no reader delivers the torn block; the next writer takes
//    "_Write" over and its first block replaces it.
//  - Every wait looks at the stop request at least every POLL_MS, so a close
//    never hangs.
//
// Threading: open and close run on the controlling thread while the worker
// is stopped; run runs on the worker; prepareStopForRead/Write on the
// controlling thread while the worker runs.

#include <platform/IShareMemory.h>
#include <platform/win32/NamedMutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Trell {

class CString;
class CWaitObject;
class IShareMemoryOwner;

class CImpShareMemory : public IShareMemory
{
    TRELL_DECLARE_ALLOCATOR(u"CImpShareMemory")

public:
    static const unsigned int POLL_MS = 100;
    static const unsigned int ROSTER_READERS = 128;
    // How long a thread that cannot be stopped (open, close) waits for
    // "_Read" held by a live process before it gives up.
    static const unsigned int GIVE_UP_MS = 10000;

    // One registered reader; every field is changed under "_Read".
    struct tagRosterEntry
    {
        std::atomic<std::uint32_t> uiSlot;   // its handle's number; 0: free
        std::atomic<std::uint32_t> uiJoined; // the last round it joined (or found on registering)
        std::atomic<std::uint32_t> uiState;  // ERosterState
        std::atomic<std::uint32_t> uiProcess; // its process id
    };
    enum ERosterState
    {
        ROSTER_IDLE = 0,
        ROSTER_WAITING = 1, // counted, waiting for "_Write" as the first reader
        ROSTER_HOLDING = 2  // counted, holding the region
    };
    struct tagRoster
    {
        std::atomic<std::uint32_t> uiRound;       // blocks released by writers
        std::atomic<std::uint32_t> uiNextSlot;    // hands out handle numbers
        std::atomic<std::uint32_t> uiRegionBytes; // the region's size, set by its first user
        std::uint32_t uiReserved;
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
    // Maps the named mapping of uiBytes; bCreated tells whether it was new.
    void* mapRegion(const CString& strName, unsigned int uiBytes, void*& hMapping, bool& bCreated);
    bool registerReader();
    void unregisterReader();
    bool isEntryAlive(const tagRosterEntry& entry) const;

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
    void* m_hRegion;             // HANDLE of "_ShareMemory"
    CNamedMutex m_mutexRead;
    CNamedMutex m_mutexWrite;
    CWaitObject* m_pEvent;
    CWaitObject* m_pReader;
    CWaitObject* m_pJoined;
    void* m_hRoster; // HANDLE of "_Roster"
    tagRoster* m_pRoster;
    tagRosterEntry* m_pEntry; // this reader's registration
    std::uint32_t m_uiSlot;   // this handle's number in the roster
    unsigned char* m_pView;
    unsigned int m_uiKey;
};

static_assert(sizeof(CImpShareMemory::tagRosterEntry) == 16, "shared layout");
static_assert(offsetof(CImpShareMemory::tagRoster, aEntries) == 16, "shared layout");

} // namespace Trell

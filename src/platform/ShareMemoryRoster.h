#pragma once

// What the platform sides of the shared-memory channel (CShareMemory) have in
// common: the roster of readers, the rounds and the hand-over of a block
// between the writer and its readers. A layer's CImpShareMemory makes the
// named objects and supplies the calls behind them (its two mutexes, the
// "joined" wake-up, whether a reader's entry is still alive); each layer's
// header says what those objects are.
//
//  - Rounds. A writer that releases "_Write" and sets "_Event" would take
//    "_Write" straight back before any woken reader got to it (a mutex is not
//    handed to a waiter in order), and readers would see each block only
//    after the next one had overwritten it. So the writer counts rounds in
//    the roster: it bumps the round with every block it releases, each
//    registered reader records the last round it joined (counted itself and,
//    as the first, took "_Write"), and the writer locks "_Write" again only
//    once every registered reader has joined. A reader joins a round whose
//    "_Event" it missed as well, and a wake without a new round (a closing
//    reader sets "_Event" for all) delivers nothing.
//  - Dead readers are dropped, and the count at offset 0 set to the readers
//    still counted (logged), by a reader that registers; by the writer while
//    it waits for a round's readers (it looks again every POLL_MS); by whoever
//    takes "_Read" while the count is not 0 (counted entries only) or takes
//    "_Read" abandoned; and by the writer when it takes "_Write" abandoned. A
//    first reader waits for "_Reader" until no other registered reader holds
//    the region, looking again every POLL_MS; a writer that takes "_Write"
//    abandoned (its first reader died holding it) does the same before it
//    lets writeData in. Only a live holder of "_Read" meets a timeout: after
//    GIVE_UP_MS a reader's open refuses (logged), and its close or its
//    release of a block gives up and leaves its entry to the others.
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

#include <atomic>
#include <cstdint>

namespace Trell {

class CString;
class CWaitObject;
class IShareMemoryOwner;

class CShareMemoryRoster : public IShareMemory
{
    TRELL_DECLARE_ALLOCATOR(u"CShareMemoryRoster")

public:
    static const unsigned int POLL_MS = 100;
    static const unsigned int ROSTER_READERS = 128;
    // How long a thread that cannot be stopped (open, close) waits for
    // "_Read" held by a live process before it gives up.
    static const unsigned int GIVE_UP_MS = 10000;

    // One registered reader; every field is changed under "_Read".
    struct tagRosterEntry
    {
        std::atomic<std::uint32_t> uiSlot;    // its handle's number; 0: free
        std::atomic<std::uint32_t> uiJoined;  // the last round it joined (or found on registering)
        std::atomic<std::uint32_t> uiState;   // ERosterState
        std::atomic<std::uint32_t> uiProcess; // the layer's own (its process id on Windows)
    };
    enum ERosterState
    {
        ROSTER_IDLE = 0,
        ROSTER_WAITING = 1, // counted, waiting for "_Write" as the first reader
        ROSTER_HOLDING = 2  // counted, holding the region
    };
    struct tagRosterEntries
    {
        tagRosterEntry aEntries[ROSTER_READERS];
    };

    // Takes ownership of pOwner.
    explicit CShareMemoryRoster(IShareMemoryOwner* pOwner);
    ~CShareMemoryRoster() override;

    bool open(unsigned int uiKey) override;
    // The layer's destructor calls it: closing needs the layer's calls.
    void close() override;
    void prepareStopForRead() override;
    void prepareStopForWrite() override;
    void run() override;

protected:
    // The same ELock values as both layers' CNamedMutex.
    enum ELock
    {
        LOCK_TAKEN,
        LOCK_ABANDONED,
        LOCK_TIMEOUT,
        LOCK_FAILED
    };
    // A layer's CNamedMutex::ELock as the ELock above.
    template <class TLock>
    static ELock toLock(TLock eLock)
    {
        static_assert(LOCK_TAKEN == static_cast<int>(TLock::LOCK_TAKEN) &&
                          LOCK_ABANDONED == static_cast<int>(TLock::LOCK_ABANDONED) &&
                          LOCK_TIMEOUT == static_cast<int>(TLock::LOCK_TIMEOUT) &&
                          LOCK_FAILED == static_cast<int>(TLock::LOCK_FAILED),
                      "the result is passed on as it is");
        return static_cast<ELock>(eLock);
    }
    enum EMutex
    {
        MUTEX_READ,
        MUTEX_WRITE
    };

    // Opens the named objects of uiKey and sets m_pView, m_pRound, m_pReaders,
    // m_pEvent and m_pReader; false (logged) on failure.
    virtual bool openObjects(unsigned int uiKey) = 0;
    // Releases what openObjects made; the view is already withdrawn from the
    // owner.
    virtual void closeObjects() = 0;
    virtual ELock lockMutex(EMutex eMutex, unsigned int uiMilliseconds) = 0;
    virtual void unlockMutex(EMutex eMutex) = 0;
    // Wakes the writer waiting for a round's readers; a no-op while closed.
    virtual void notifyJoined() = 0;
    virtual void waitJoined(unsigned int uiMilliseconds) = 0;
    // Whether the handle that registered entry (under uiSlot, not 0) is open.
    virtual bool isEntryAlive(const tagRosterEntry& entry, std::uint32_t uiSlot) const = 0;
    // Writes this handle's identity into a free entry, uiSlot last (it marks
    // the entry taken).
    virtual void claimEntry(tagRosterEntry& entry) = 0;

    static CString objectName(unsigned int uiKey, const char16_t* pszSuffix);
    static void logWarning(const CString& strText);
    void deleteEvents();

    IShareMemoryOwner* m_pOwner; // owned
    CWaitObject* m_pEvent;
    CWaitObject* m_pReader;
    std::atomic<std::uint32_t>* m_pRound; // blocks released by writers
    tagRosterEntries* m_pReaders;
    unsigned char* m_pView;
    unsigned int m_uiKey;

private:
    CShareMemoryRoster(const CShareMemoryRoster&) = delete;
    CShareMemoryRoster& operator=(const CShareMemoryRoster&) = delete;

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
    void unlockRead() { unlockMutex(MUTEX_READ); }
    // Drops the entries of dead readers (all of them, or only the counted
    // ones), then sets the count to the live counted readers if one was
    // dropped. Under "_Read".
    void repairRoster(bool bAllEntries);
    bool isHolderLeft();

    std::int32_t readCount() const;
    void writeCount(std::int32_t iCount);

    tagRosterEntry* m_pEntry; // this reader's registration
};

static_assert(sizeof(CShareMemoryRoster::tagRosterEntry) == 16, "shared layout");
static_assert(sizeof(CShareMemoryRoster::tagRosterEntries) == 16 * CShareMemoryRoster::ROSTER_READERS, "shared layout");

} // namespace Trell

#pragma once

// Named kernel objects on POSIX: one mechanism for every named event, mutex
// and region the library makes.
//
// An object is a file under /dev/shm holding a fixed header and a payload of
// 32-bit words, so that 32- and 64-bit processes share the same object (no
// pthread type, pointer or long is ever stored). Waiting and waking use the
// futex system call on those words, which works across both word sizes.
//
// Lifetime follows the kernel-handle model, kept by open-file-description
// record locks that the kernel drops when a process dies:
//   - every open handle holds a shared lock on the "life" byte;
//   - opening and closing take the exclusive "gate" byte for their few steps;
//   - whoever, under the gate, can take the life byte exclusively is the only
//     user: a closer then unlinks the file, an opener (re)initialises it.
// So an entry whose users all died is reclaimed by the next open, and a live
// object is never taken for a stale one. Each handle also holds an exclusive
// lock on a byte of its own (its slot), by which a mutex waiter tells whether
// the owner is still there.
//
// Objects are created mode 0600 whatever the umask; an entry owned by another
// user is refused (and logged), never joined.
//
// File names: "trell." + kind ("evt", "mtx", "mem") + "." + the caller's name
// encoded as follows. The UTF-16 name is written as UTF-8 (an unpaired
// surrogate as its three-byte form); ASCII letters, digits, '-', '_' and '.'
// and the bytes of well-formed non-ASCII characters stay as they are, every
// other byte (space, '/', '%', '~', controls, unpaired surrogates...) becomes
// '%' and two upper-case hex digits. This is one-to-one. A result longer than
// 200 bytes is cut at a character boundary to 183 bytes and followed by '~'
// and 16 hex digits of a 64-bit hash of the whole name, so the start of the
// name stays visible and names that share it stay apart.
//
// Threading: a CNamedObject is opened and closed by one thread; its payload
// is used from any thread. CNamedMutex and the event functions are safe from
// any thread of any process.

#include <foundation/CMemory.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

namespace Trell {

// Reports a refusal or an abandoned mutex (UTF-8 text, no line end). The
// library sends it to its log; programs that compile these sources alone
// (test helpers) provide their own.
void logNamedObject(const char* pszText);

class CNamedObject
{
    TRELL_DECLARE_ALLOCATOR(u"CNamedObject")

public:
    enum EKind
    {
        KIND_EVENT = 1,
        KIND_MUTEX = 2,
        KIND_REGION = 3
    };
    enum EOpen
    {
        OPEN_CREATED, // this handle initialised the object (it was absent or stale)
        OPEN_JOINED,  // the object was live: its contents are as its users left them
        OPEN_REFUSED, // an entry of that name belongs to another user (logged)
        OPEN_FAILED   // bad arguments or a system error
    };

    // Shared header at offset 0 of every object.
    struct tagHeader
    {
        std::uint32_t uiMagic;
        std::uint32_t uiLayout;
        std::uint32_t uiKind;
        std::uint32_t uiPayloadBytes;
        std::atomic<std::uint32_t> uiNextSlot;
        std::uint32_t auiReserved[3];
    };

    CNamedObject() = default;
    ~CNamedObject() { close(); }

    // Opens (creating or reclaiming as needed) the object of that kind and
    // name, with uiPayloadBytes of zeroed payload when created. A live object
    // of a different payload size fails.
    EOpen open(EKind eKind, const char16_t* pszName, unsigned int uiLength, std::uint32_t uiPayloadBytes);
    // Releases the handle; the last user's close removes the entry.
    void close();

    bool isOpen() const { return m_pView != nullptr; }
    void* payload() const { return m_pView ? static_cast<char*>(m_pView) + sizeof(tagHeader) : nullptr; }
    // This handle's slot: non-zero, unique among the object's open handles.
    std::uint32_t slot() const { return m_uiSlot; }
    // Whether the handle that holds uiSlot is still open (its process alive).
    bool isSlotOpen(std::uint32_t uiSlot) const;

    // The entry's file name under /dev/shm of the last open ("" before it).
    const char* entryName() const { return m_strShmName.empty() ? "" : m_strShmName.c_str() + 1; }
    // The entry's file name under /dev/shm (see the rule above).
    static std::string fileName(EKind eKind, const char16_t* pszName, unsigned int uiLength);

    static const std::uint32_t SLOT_MASK = 0x3FFFFFFFu;
    // The largest payload open accepts.
    static const std::uint32_t MAX_PAYLOAD_BYTES = 1u << 30;

private:
    CNamedObject(const CNamedObject&) = delete;
    CNamedObject& operator=(const CNamedObject&) = delete;

    EOpen attach(EKind eKind, std::uint32_t uiPayloadBytes, bool& bRetry);

    int m_fd = -1;
    void* m_pView = nullptr;
    std::size_t m_viewBytes = 0;
    std::uint32_t m_uiSlot = 0;
    int m_openerPid = 0;
    std::string m_strShmName; // "/" + file name
};

static_assert(sizeof(std::atomic<std::uint32_t>) == 4 && std::atomic<std::uint32_t>::is_always_lock_free,
              "shared words must be plain lock-free 32-bit words");
static_assert(std::is_standard_layout<CNamedObject::tagHeader>::value, "shared layout");
static_assert(sizeof(CNamedObject::tagHeader) == 32, "shared layout");
static_assert(offsetof(CNamedObject::tagHeader, uiKind) == 8, "shared layout");
static_assert(offsetof(CNamedObject::tagHeader, uiPayloadBytes) == 12, "shared layout");
static_assert(offsetof(CNamedObject::tagHeader, uiNextSlot) == 16, "shared layout");

// A manual-reset event whose every wait resets it, on three words that live
// either in process memory (bShared false) or in a named object's payload.
// notify raises the flag and advances the sequence, so every thread waiting
// at that moment is released even when another resets the flag first.
struct tagEventWords
{
    TRELL_DECLARE_ALLOCATOR(u"tagEventWords")

    std::atomic<std::uint32_t> uiSignalled;
    std::atomic<std::uint32_t> uiSequence; // the futex word
    // Threads asleep in a wait, so that notify skips the wake call when there
    // are none. A waiter killed in its wait leaves it too high: notify then
    // only makes a needless call.
    std::atomic<std::uint32_t> uiWaiters;
    std::uint32_t uiReserved;

    void reset() { uiSignalled.store(0, std::memory_order_release); }
    void notify(bool bShared);
    // Blocks until notified or uiMilliseconds pass (bForever: no limit), then
    // clears the flag; 0 ms without bForever only polls.
    void waitAndReset(bool bShared, unsigned int uiMilliseconds, bool bForever);
};

static_assert(std::is_standard_layout<tagEventWords>::value && sizeof(tagEventWords) == 16, "shared layout");
static_assert(offsetof(tagEventWords, uiSequence) == 4 && offsetof(tagEventWords, uiWaiters) == 8, "shared layout");

// A named mutex: owned by one thread, which may lock it again (each lock
// needs its unlock). When the owner's handle closes or its process dies
// while holding it, the next locker gets it and is told it was abandoned (a
// waiter notices within POLL_MS). Its one shared word holds the owner's slot
// and a waiters bit; an uncontended lock and unlock are one atomic operation
// each. Ownership is by thread and handle: a thread that holds it through
// one handle must not lock it through another handle of the same process.
class CNamedMutex
{
    TRELL_DECLARE_ALLOCATOR(u"CNamedMutex")

public:
    enum ELock
    {
        LOCK_TAKEN,
        LOCK_ABANDONED, // taken, but the previous owner died holding it (logged)
        LOCK_TIMEOUT,
        LOCK_FAILED // the mutex is not open
    };

    CNamedMutex() = default;

    CNamedObject::EOpen open(const char16_t* pszName, unsigned int uiLength);
    void close() { m_object.close(), m_pWord = nullptr; }
    // Waits up to uiMilliseconds for the mutex; bForever: no limit.
    ELock lock(unsigned int uiMilliseconds, bool bForever);
    // False when the calling thread does not own it.
    bool unlock();

    static const unsigned int POLL_MS = 100;

private:
    CNamedMutex(const CNamedMutex&) = delete;
    CNamedMutex& operator=(const CNamedMutex&) = delete;

    ELock lockContended(unsigned int uiMilliseconds, bool bForever);
    void own() { m_owner.store(threadToken(), std::memory_order_relaxed), m_uiRecursion = 1; }
    static const void* threadToken();

    CNamedObject m_object;
    std::atomic<std::uint32_t>* m_pWord = nullptr;
    std::atomic<const void*> m_owner{nullptr}; // the owning thread of this process
    unsigned int m_uiRecursion = 0;            // touched by the owner only
};

} // namespace Trell

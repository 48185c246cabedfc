#include <platform/posix/NamedObject.h>

// Only the C library and the kernel below this line: the 32-bit test helper
// compiles this file on its own.
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Trell {

namespace {

const std::uint32_t MAGIC = 0x4F4E5254u; // "TRNO"
const std::uint32_t LAYOUT = 1;
const std::uint32_t WAITERS = 0x80000000u;

// Lock bytes of the entry file (record locks need no file data behind them).
const off_t GATE_BYTE = 0;
const off_t LIFE_BYTE = 1;
const off_t SLOT_BYTES = 2;

const std::size_t MAX_ENCODED = 200;
const std::size_t CUT_ENCODED = MAX_ENCODED - 17;

bool setLock(int fd, short sType, off_t offset, bool bWait)
{
    struct flock lock = {};
    lock.l_type = sType;
    lock.l_whence = SEEK_SET;
    lock.l_start = offset;
    lock.l_len = 1;
    for (;;) {
        if (fcntl(fd, bWait ? F_OFD_SETLKW : F_OFD_SETLK, &lock) == 0)
            return true;
        if (errno != EINTR)
            return false;
    }
}

timespec monotonicAfter(unsigned int uiMilliseconds)
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    ts.tv_sec += uiMilliseconds / 1000;
    ts.tv_nsec += static_cast<long>(uiMilliseconds % 1000) * 1000000L;
    if (ts.tv_nsec >= 1000000000L) {
        ts.tv_sec += 1;
        ts.tv_nsec -= 1000000000L;
    }
    return ts;
}

bool isBefore(const timespec& a, const timespec& b)
{
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// A 32-bit process built with 64-bit time needs the time64 call.
long futexCall()
{
#ifdef SYS_futex_time64
    if (sizeof(time_t) > sizeof(long))
        return SYS_futex_time64;
#endif
    return SYS_futex;
}

// Sleeps while *pWord holds uiExpected, until woken or the absolute monotonic
// deadline (null: none). False on timeout.
bool futexWait(std::atomic<std::uint32_t>* pWord, std::uint32_t uiExpected, const timespec* pDeadline, bool bShared)
{
    const int iOp = FUTEX_WAIT_BITSET | (bShared ? 0 : FUTEX_PRIVATE_FLAG);
    return syscall(futexCall(), pWord, iOp, uiExpected, pDeadline, nullptr, FUTEX_BITSET_MATCH_ANY) == 0 ||
           errno != ETIMEDOUT;
}

void futexWake(std::atomic<std::uint32_t>* pWord, int iCount, bool bShared)
{
    syscall(futexCall(), pWord, FUTEX_WAKE | (bShared ? 0 : FUTEX_PRIVATE_FLAG), iCount, nullptr, nullptr, 0);
}

std::uint64_t hashName(const char16_t* pszName, unsigned int uiLength)
{
    std::uint64_t ullHash = 1469598103934665603ull;
    for (unsigned int i = 0; i < uiLength; ++i) {
        ullHash = (ullHash ^ (pszName[i] & 0xFFu)) * 1099511628211ull;
        ullHash = (ullHash ^ (pszName[i] >> 8)) * 1099511628211ull;
    }
    // Final mix, so that names differing only at the end differ in every digit.
    ullHash ^= ullHash >> 33;
    ullHash *= 0xff51afd7ed558ccdull;
    ullHash ^= ullHash >> 33;
    return ullHash;
}

const char* kindTag(CNamedObject::EKind eKind)
{
    switch (eKind) {
    case CNamedObject::KIND_EVENT: return "evt";
    case CNamedObject::KIND_MUTEX: return "mtx";
    default: return "mem";
    }
}

} // namespace

std::string CNamedObject::fileName(EKind eKind, const char16_t* pszName, unsigned int uiLength)
{
    static const char HEX[] = "0123456789ABCDEF";
    std::string strEncoded;
    std::size_t cut = 0; // the last character boundary within CUT_ENCODED
    for (unsigned int i = 0; i < uiLength; ++i) {
        std::uint32_t uiCode = pszName[i];
        bool bWellFormed = uiCode < 0xD800 || uiCode >= 0xE000;
        if (uiCode >= 0xD800 && uiCode < 0xDC00 && i + 1 < uiLength && pszName[i + 1] >= 0xDC00 &&
            pszName[i + 1] < 0xE000) {
            uiCode = 0x10000 + ((uiCode - 0xD800) << 10) + (pszName[++i] - 0xDC00);
            bWellFormed = true;
        }
        unsigned char bytes[4];
        int iCount;
        if (uiCode < 0x80) {
            bytes[0] = static_cast<unsigned char>(uiCode);
            iCount = 1;
        } else if (uiCode < 0x800) {
            bytes[0] = static_cast<unsigned char>(0xC0 | (uiCode >> 6));
            bytes[1] = static_cast<unsigned char>(0x80 | (uiCode & 0x3F));
            iCount = 2;
        } else if (uiCode < 0x10000) {
            bytes[0] = static_cast<unsigned char>(0xE0 | (uiCode >> 12));
            bytes[1] = static_cast<unsigned char>(0x80 | ((uiCode >> 6) & 0x3F));
            bytes[2] = static_cast<unsigned char>(0x80 | (uiCode & 0x3F));
            iCount = 3;
        } else {
            bytes[0] = static_cast<unsigned char>(0xF0 | (uiCode >> 18));
            bytes[1] = static_cast<unsigned char>(0x80 | ((uiCode >> 12) & 0x3F));
            bytes[2] = static_cast<unsigned char>(0x80 | ((uiCode >> 6) & 0x3F));
            bytes[3] = static_cast<unsigned char>(0x80 | (uiCode & 0x3F));
            iCount = 4;
        }
        for (int b = 0; b < iCount; ++b) {
            const unsigned char ch = bytes[b];
            const bool bKeep = uiCode >= 0x80 ? bWellFormed
                                              : ((ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') ||
                                                 (ch >= '0' && ch <= '9') || ch == '-' || ch == '_' || ch == '.');
            if (bKeep) {
                strEncoded += static_cast<char>(ch);
            } else {
                strEncoded += '%';
                strEncoded += HEX[ch >> 4];
                strEncoded += HEX[ch & 0xF];
            }
        }
        if (strEncoded.size() <= CUT_ENCODED)
            cut = strEncoded.size();
    }
    if (strEncoded.size() > MAX_ENCODED) {
        const std::uint64_t ullHash = hashName(pszName, uiLength);
        strEncoded.resize(cut);
        strEncoded += '~';
        for (int i = 15; i >= 0; --i)
            strEncoded += "0123456789abcdef"[(ullHash >> (i * 4)) & 0xF];
    }
    return std::string("trell.") + kindTag(eKind) + "." + strEncoded;
}

CNamedObject::EOpen CNamedObject::open(EKind eKind, const char16_t* pszName, unsigned int uiLength,
                                       std::uint32_t uiPayloadBytes)
{
    close();
    if (!pszName || uiLength == 0 || uiPayloadBytes == 0 || uiPayloadBytes > MAX_PAYLOAD_BYTES)
        return OPEN_FAILED;
    m_strShmName = "/" + fileName(eKind, pszName, uiLength);
    m_openerPid = getpid();
    // Each retry follows a close that removed the entry between our open
    // and our look at it; a handful is plenty.
    for (int iAttempt = 0; iAttempt < 64; ++iAttempt) {
        const int fd = shm_open(m_strShmName.c_str(), O_RDWR | O_CREAT, 0600);
        struct stat st;
        // Without access the owner is looked up by name (shm_open keeps its
        // entries in /dev/shm).
        const bool bStat =
            fd >= 0 ? fstat(fd, &st) == 0 : errno == EACCES && stat(("/dev/shm" + m_strShmName).c_str(), &st) == 0;
        if (bStat && st.st_uid != geteuid()) {
            if (fd >= 0)
                ::close(fd);
            char szText[320];
            std::snprintf(szText, sizeof(szText), "Named object %s belongs to user %u; refused.",
                          m_strShmName.c_str() + 1, static_cast<unsigned int>(st.st_uid));
            logNamedObject(szText);
            return OPEN_REFUSED;
        }
        if (fd < 0 || !bStat || !S_ISREG(st.st_mode)) {
            if (fd >= 0)
                ::close(fd);
            return OPEN_FAILED;
        }
        // The umask may have narrowed the mode, and a stale entry may be wider.
        if ((st.st_mode & 07777) != 0600 && fchmod(fd, 0600) != 0) {
            ::close(fd);
            return OPEN_FAILED;
        }
        m_fd = fd;
        bool bRetry = false;
        const EOpen eResult = attach(eKind, uiPayloadBytes, bRetry);
        if (eResult == OPEN_CREATED || eResult == OPEN_JOINED)
            return eResult;
        ::close(m_fd); // drops every lock taken on it
        m_fd = -1;
        if (!bRetry)
            return eResult;
    }
    return OPEN_FAILED;
}

CNamedObject::EOpen CNamedObject::attach(EKind eKind, std::uint32_t uiPayloadBytes, bool& bRetry)
{
    if (!setLock(m_fd, F_WRLCK, GATE_BYTE, true))
        return OPEN_FAILED;
    struct stat st;
    if (fstat(m_fd, &st) != 0)
        return OPEN_FAILED;
    if (st.st_nlink == 0) {
        // Its last user removed it while we were on our way in.
        bRetry = true;
        return OPEN_FAILED;
    }
    const std::size_t bytes = sizeof(tagHeader) + uiPayloadBytes;
    const bool bAlone = setLock(m_fd, F_WRLCK, LIFE_BYTE, false);
    if (bAlone) {
        // Absent, or left by users that all died: start from zeroes.
        if (ftruncate(m_fd, 0) != 0 || ftruncate(m_fd, static_cast<off_t>(bytes)) != 0)
            return OPEN_FAILED;
    } else if (static_cast<std::size_t>(st.st_size) != bytes) {
        return OPEN_FAILED;
    }
    void* pView = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (pView == MAP_FAILED)
        return OPEN_FAILED;
    tagHeader* pHeader = static_cast<tagHeader*>(pView);
    if (bAlone) {
        pHeader->uiMagic = MAGIC;
        pHeader->uiLayout = LAYOUT;
        pHeader->uiKind = static_cast<std::uint32_t>(eKind);
        pHeader->uiPayloadBytes = uiPayloadBytes;
    }
    // The life lock is taken (or kept, downgraded) as shared: from here on
    // the object counts this handle among its users.
    if (pHeader->uiMagic != MAGIC || pHeader->uiLayout != LAYOUT ||
        pHeader->uiKind != static_cast<std::uint32_t>(eKind) || pHeader->uiPayloadBytes != uiPayloadBytes ||
        !setLock(m_fd, F_RDLCK, LIFE_BYTE, false)) {
        munmap(pView, bytes);
        return OPEN_FAILED;
    }
    for (int iTry = 0; iTry < 64 && m_uiSlot == 0; ++iTry) {
        const std::uint32_t uiSlot = (pHeader->uiNextSlot.fetch_add(1) + 1) & SLOT_MASK;
        if (uiSlot != 0 && setLock(m_fd, F_WRLCK, SLOT_BYTES + static_cast<off_t>(uiSlot), false))
            m_uiSlot = uiSlot;
    }
    if (m_uiSlot == 0) {
        munmap(pView, bytes);
        return OPEN_FAILED;
    }
    setLock(m_fd, F_UNLCK, GATE_BYTE, false);
    m_pView = pView;
    m_viewBytes = bytes;
    return bAlone ? OPEN_CREATED : OPEN_JOINED;
}

void CNamedObject::close()
{
    if (m_fd < 0)
        return;
    // A handle copied into a forked child shares the parent's locks: only
    // the process that opened it decides about the entry.
    if (m_openerPid == getpid() && setLock(m_fd, F_WRLCK, GATE_BYTE, true)) {
        struct stat st;
        if (setLock(m_fd, F_WRLCK, LIFE_BYTE, false) && fstat(m_fd, &st) == 0 && st.st_nlink > 0)
            shm_unlink(m_strShmName.c_str());
    }
    if (m_pView)
        munmap(m_pView, m_viewBytes);
    ::close(m_fd);
    m_fd = -1;
    m_pView = nullptr;
    m_viewBytes = 0;
    m_uiSlot = 0;
}

bool CNamedObject::isSlotOpen(std::uint32_t uiSlot) const
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = SLOT_BYTES + static_cast<off_t>(uiSlot);
    lock.l_len = 1;
    // In doubt the owner counts as present: a wrong "abandoned" would hand
    // out a mutex that is still held.
    return m_fd < 0 || fcntl(m_fd, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

// --- event ---------------------------------------------------------------------

void tagEventWords::notify(bool bShared)
{
    uiSignalled.store(1, std::memory_order_seq_cst);
    uiSequence.fetch_add(1, std::memory_order_seq_cst);
    if (uiWaiters.load(std::memory_order_seq_cst) != 0)
        futexWake(&uiSequence, INT_MAX, bShared);
}

void tagEventWords::waitAndReset(bool bShared, unsigned int uiMilliseconds, bool bForever)
{
    if ((bForever || uiMilliseconds > 0) && uiSignalled.load(std::memory_order_acquire) == 0) {
        const std::uint32_t uiSeen = uiSequence.load(std::memory_order_acquire);
        if (uiSignalled.load(std::memory_order_acquire) == 0) {
            const timespec deadline = monotonicAfter(uiMilliseconds);
            // Counted before the sequence is read again: a notify either sees
            // this waiter or has already moved the sequence.
            uiWaiters.fetch_add(1, std::memory_order_seq_cst);
            while (uiSequence.load(std::memory_order_seq_cst) == uiSeen &&
                   futexWait(&uiSequence, uiSeen, bForever ? nullptr : &deadline, bShared)) {
            }
            uiWaiters.fetch_sub(1, std::memory_order_seq_cst);
        }
    }
    uiSignalled.exchange(0, std::memory_order_acq_rel);
}

// --- mutex ---------------------------------------------------------------------

CNamedObject::EOpen CNamedMutex::open(const char16_t* pszName, unsigned int uiLength)
{
    close();
    const CNamedObject::EOpen eResult = m_object.open(CNamedObject::KIND_MUTEX, pszName, uiLength, 16);
    if (m_object.isOpen())
        m_pWord = static_cast<std::atomic<std::uint32_t>*>(m_object.payload());
    return eResult;
}

const void* CNamedMutex::threadToken()
{
    static thread_local char t_cToken;
    return &t_cToken;
}

CNamedMutex::ELock CNamedMutex::lock(unsigned int uiMilliseconds, bool bForever)
{
    if (!m_pWord)
        return LOCK_FAILED;
    if (m_owner.load(std::memory_order_relaxed) == threadToken()) {
        ++m_uiRecursion;
        return LOCK_TAKEN;
    }
    std::uint32_t uiFree = 0;
    if (m_pWord->compare_exchange_strong(uiFree, m_object.slot(), std::memory_order_acquire,
                                         std::memory_order_relaxed)) {
        own();
        return LOCK_TAKEN;
    }
    return lockContended(uiMilliseconds, bForever);
}

CNamedMutex::ELock CNamedMutex::lockContended(unsigned int uiMilliseconds, bool bForever)
{
    const std::uint32_t uiMine = m_object.slot();
    const timespec deadline = monotonicAfter(uiMilliseconds);
    for (;;) {
        std::uint32_t uiWord = m_pWord->load(std::memory_order_relaxed);
        const std::uint32_t uiOwner = uiWord & CNamedObject::SLOT_MASK;
        // Taken from here on with the waiters bit set: others may still sleep.
        if (uiWord == 0 || (uiOwner != uiMine && !m_object.isSlotOpen(uiOwner))) {
            if (!m_pWord->compare_exchange_strong(uiWord, uiMine | WAITERS, std::memory_order_acquire,
                                                  std::memory_order_relaxed))
                continue;
            own();
            if (uiWord == 0)
                return LOCK_TAKEN;
            char szText[320];
            std::snprintf(szText, sizeof(szText), "Named mutex %s was abandoned by its owner; taken over.",
                          m_object.entryName());
            logNamedObject(szText);
            return LOCK_ABANDONED;
        }
        timespec wake = monotonicAfter(POLL_MS);
        if (!bForever) {
            const timespec now = monotonicAfter(0);
            if (!isBefore(now, deadline))
                return LOCK_TIMEOUT;
            if (isBefore(deadline, wake))
                wake = deadline;
        }
        if (!(uiWord & WAITERS)) {
            if (!m_pWord->compare_exchange_strong(uiWord, uiWord | WAITERS, std::memory_order_relaxed))
                continue;
            uiWord |= WAITERS;
        }
        // Sleep until woken, the deadline, or the next look at the owner.
        futexWait(m_pWord, uiWord, &wake, true);
    }
}

bool CNamedMutex::unlock()
{
    if (!m_pWord || m_owner.load(std::memory_order_relaxed) != threadToken())
        return false;
    if (--m_uiRecursion > 0)
        return true;
    m_owner.store(nullptr, std::memory_order_relaxed);
    if (m_pWord->exchange(0, std::memory_order_release) & WAITERS)
        futexWake(m_pWord, 1, true);
    return true;
}

} // namespace Trell

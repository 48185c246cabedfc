#include <platform/posix/CImpWaitObject.h>

#include <platform/PlatformLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Trell {

namespace {

const std::uint32_t STATE_READY = 0x52454459u; // "REDY": the block is initialised

// Openers give a creator this long to size and initialise the block; a
// block still unready after that is the remains of a creator that died, and
// is removed.
const int OPEN_WAIT_MS = 5000;
const int OPEN_ATTEMPTS = 16;

void sleepOneMillisecond()
{
    timespec ts{0, 1000000};
    nanosleep(&ts, nullptr);
}

timespec deadlineAfter(unsigned int uiMilliseconds)
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

// FNV-1a, to keep over-long names unique within the name limit.
std::uint64_t hashName(const std::string& strText)
{
    std::uint64_t ullHash = 1469598103934665603ull;
    for (unsigned char ch : strText) {
        ullHash ^= ch;
        ullHash *= 1099511628211ull;
    }
    return ullHash;
}

} // namespace

std::string CImpWaitObject::toShmName(const CString& strName)
{
    std::string strUtf8;
    unsigned int uiLength = strName.length();
    if (uiLength > 0) {
        std::string strBuffer(uiLength * 3 + 1, '\0');
        unsigned int uiWritten = 0;
        CStringConverter::convertToUTF8(strName.buffer(),
                                        reinterpret_cast<unsigned char*>(&strBuffer[0]),
                                        static_cast<unsigned int>(strBuffer.size()), &uiWritten);
        strUtf8.assign(strBuffer.data(), uiWritten);
    }
    // A shared-memory name holds no "/" after its leading one: escape it
    // (and the escape character) so that distinct names stay distinct.
    std::string strName2 = "/trell.evt.";
    for (char ch : strUtf8) {
        if (ch == '/')
            strName2 += "%2F";
        else if (ch == '%')
            strName2 += "%25";
        else
            strName2 += ch;
    }
    const std::size_t MAX_NAME = 200;
    if (strName2.size() > MAX_NAME) {
        static const char HEX[] = "0123456789abcdef";
        std::uint64_t ullHash = hashName(strName2);
        strName2.resize(MAX_NAME - 17);
        strName2 += '~';
        for (int i = 15; i >= 0; --i)
            strName2 += HEX[(ullHash >> (i * 4)) & 0xF];
    }
    return strName2;
}

CImpWaitObject::CImpWaitObject(const CString& strName) : m_pBlock(&m_localBlock)
{
    if (strName.length() > 0) {
        std::string strShmName = toShmName(strName);
        if (openShared(strShmName))
            return;
        // A named event that cannot be shared still works within this process.
        PlatformLog::logWarning(u"A named event could not be shared; it stays local to this process.");
    }
    initBlock(&m_localBlock, false);
}

CImpWaitObject::~CImpWaitObject()
{
    if (isShared()) {
        closeShared();
    } else {
        pthread_cond_destroy(&m_localBlock.cond);
        pthread_mutex_destroy(&m_localBlock.mutex);
    }
}

void CImpWaitObject::initBlock(tagEventBlock* pBlock, bool bShared)
{
    pBlock->uiOpenCount = 1;
    pBlock->uiGeneration = 0;
    pBlock->uiSignalled = 0;
    pBlock->uiDead = 0;

    pthread_mutexattr_t mutexAttr;
    pthread_mutexattr_init(&mutexAttr);
    if (bShared) {
        pthread_mutexattr_setpshared(&mutexAttr, PTHREAD_PROCESS_SHARED);
        // A process that dies holding the lock must not block the others.
        pthread_mutexattr_setrobust(&mutexAttr, PTHREAD_MUTEX_ROBUST);
    }
    pthread_mutex_init(&pBlock->mutex, &mutexAttr);
    pthread_mutexattr_destroy(&mutexAttr);

    pthread_condattr_t condAttr;
    pthread_condattr_init(&condAttr);
    pthread_condattr_setclock(&condAttr, CLOCK_MONOTONIC);
    if (bShared)
        pthread_condattr_setpshared(&condAttr, PTHREAD_PROCESS_SHARED);
    pthread_cond_init(&pBlock->cond, &condAttr);
    pthread_condattr_destroy(&condAttr);

    pBlock->uiState.store(STATE_READY, std::memory_order_release);
}

bool CImpWaitObject::openShared(const std::string& strShmName)
{
    const std::size_t SIZE = sizeof(tagEventBlock);
    for (int iAttempt = 0; iAttempt < OPEN_ATTEMPTS; ++iAttempt) {
        int fd = shm_open(strShmName.c_str(), O_RDWR | O_CREAT | O_EXCL, 0666);
        if (fd >= 0) {
            // Creator: the umask may have narrowed the mode; other users of
            // the same name need it as asked.
            fchmod(fd, 0666);
            if (ftruncate(fd, static_cast<off_t>(SIZE)) != 0) {
                close(fd);
                shm_unlink(strShmName.c_str());
                return false;
            }
            void* pView = mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
            close(fd);
            if (pView == MAP_FAILED) {
                shm_unlink(strShmName.c_str());
                return false;
            }
            m_pBlock = static_cast<tagEventBlock*>(pView);
            initBlock(m_pBlock, true);
            m_strShmName = strShmName;
            return true;
        }
        if (errno != EEXIST)
            return false;

        fd = shm_open(strShmName.c_str(), O_RDWR, 0);
        if (fd < 0) {
            if (errno == ENOENT)
                continue; // closed by its last user in between: create it anew
            return false;
        }
        // Wait for the creator to size the object; mapping it earlier would
        // fault on first access.
        struct stat st;
        int iWaited = 0;
        while (fstat(fd, &st) == 0 && static_cast<std::size_t>(st.st_size) < SIZE &&
               iWaited < OPEN_WAIT_MS) {
            sleepOneMillisecond();
            ++iWaited;
        }
        if (fstat(fd, &st) != 0 || static_cast<std::size_t>(st.st_size) < SIZE) {
            // Its creator died before sizing it: remove the remains and retry.
            close(fd);
            shm_unlink(strShmName.c_str());
            continue;
        }
        void* pView = mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        close(fd);
        if (pView == MAP_FAILED)
            return false;
        tagEventBlock* pBlock = static_cast<tagEventBlock*>(pView);
        iWaited = 0;
        while (pBlock->uiState.load(std::memory_order_acquire) != STATE_READY &&
               iWaited < OPEN_WAIT_MS) {
            sleepOneMillisecond();
            ++iWaited;
        }
        if (pBlock->uiState.load(std::memory_order_acquire) != STATE_READY) {
            // Its creator died before initialising it: remove it and retry.
            munmap(pView, SIZE);
            shm_unlink(strShmName.c_str());
            continue;
        }
        m_pBlock = pBlock;
        lockBlock();
        if (pBlock->uiDead) {
            // Its last user unlinked it while we were mapping: start over.
            unlockBlock();
            m_pBlock = &m_localBlock;
            munmap(pView, SIZE);
            continue;
        }
        ++pBlock->uiOpenCount;
        unlockBlock();
        m_strShmName = strShmName;
        return true;
    }
    return false;
}

void CImpWaitObject::closeShared()
{
    lockBlock();
    if (m_pBlock->uiOpenCount > 0)
        --m_pBlock->uiOpenCount;
    if (m_pBlock->uiOpenCount == 0) {
        // Unlinking while holding the lock: no new block of this name can
        // exist yet, so this removes our own.
        m_pBlock->uiDead = 1;
        shm_unlink(m_strShmName.c_str());
    }
    unlockBlock();
    munmap(m_pBlock, sizeof(tagEventBlock));
    m_pBlock = nullptr;
}

void CImpWaitObject::lockBlock()
{
    int iResult = pthread_mutex_lock(&m_pBlock->mutex);
    if (iResult == EOWNERDEAD)
        pthread_mutex_consistent(&m_pBlock->mutex);
}

void CImpWaitObject::unlockBlock()
{
    pthread_mutex_unlock(&m_pBlock->mutex);
}

void CImpWaitObject::reset()
{
    lockBlock();
    m_pBlock->uiSignalled = 0;
    unlockBlock();
}

void CImpWaitObject::waitAndReset(unsigned int uiMilliseconds, bool bForever)
{
    lockBlock();
    if (!m_pBlock->uiSignalled && (bForever || uiMilliseconds > 0)) {
        const std::uint32_t uiGeneration = m_pBlock->uiGeneration;
        timespec deadline = deadlineAfter(bForever ? 0 : uiMilliseconds);
        while (!m_pBlock->uiSignalled && m_pBlock->uiGeneration == uiGeneration) {
            int iResult = bForever ? pthread_cond_wait(&m_pBlock->cond, &m_pBlock->mutex)
                                   : pthread_cond_timedwait(&m_pBlock->cond, &m_pBlock->mutex, &deadline);
            if (iResult == EOWNERDEAD)
                pthread_mutex_consistent(&m_pBlock->mutex);
            else if (iResult == ETIMEDOUT)
                break;
        }
    }
    m_pBlock->uiSignalled = 0;
    unlockBlock();
}

void CImpWaitObject::wait(unsigned int uiMilliseconds)
{
    waitAndReset(uiMilliseconds, uiMilliseconds == 0);
}

void CImpWaitObject::forceWait(unsigned int uiMilliseconds)
{
    waitAndReset(uiMilliseconds, false);
}

void CImpWaitObject::notify()
{
    lockBlock();
    m_pBlock->uiSignalled = 1;
    ++m_pBlock->uiGeneration;
    pthread_cond_broadcast(&m_pBlock->cond);
    unlockBlock();
}

} // namespace Trell

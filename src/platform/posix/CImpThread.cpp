#include <platform/posix/CImpThread.h>

#include <platform/CThread.h>
#include <platform/PlatformLog.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Trell {

namespace {

// What the new thread needs, captured on the starting thread so that the
// worker reads nothing the controller may change meanwhile.
struct tagStartInfo
{
    TRELL_DECLARE_ALLOCATOR(u"CImpThread::tagStartInfo")

    CThread* pOwner;
    int iSystemPriority;
    char szName[16]; // the kernel keeps at most 15 bytes of a thread name
};

std::atomic<bool> s_bPriorityRefusalLogged{false};

void applyPriority(int iSystemPriority)
{
    const int iOffset = CImpThread::toNiceOffset(iSystemPriority);
    errno = 0;
    int iBase = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    if (iBase == -1 && errno != 0)
        return;
    int iTarget = iBase + iOffset;
    if (iTarget < -20)
        iTarget = -20;
    if (iTarget > 19)
        iTarget = 19;
    const id_t tid = static_cast<id_t>(syscall(SYS_gettid));
    errno = 0;
    int iCurrent = getpriority(PRIO_PROCESS, tid);
    if (errno == 0 && iCurrent == iTarget)
        return;
    if (setpriority(PRIO_PROCESS, tid, iTarget) != 0 && !s_bPriorityRefusalLogged.exchange(true)) {
        PlatformLog::logWarning(u"The thread priority could not be changed (no permission); "
                                u"threads run at their inherited priority.");
    }
}

} // namespace

CImpThread::CImpThread(CThread* pOwner) : m_pOwner(pOwner), m_thread(), m_bHasThread(false)
{}

CImpThread::~CImpThread() = default;

int CImpThread::toNiceOffset(int iSystemPriority)
{
    switch (iSystemPriority) {
    case 2: return -10;
    case 1: return -5;
    case -1: return 5;
    case -2: return 10;
    default: return 0;
    }
}

void CImpThread::start()
{
    tagStartInfo* pInfo = new tagStartInfo;
    if (!pInfo) {
        m_pOwner->notifyWorkerExited();
        return;
    }
    pInfo->pOwner = m_pOwner;
    pInfo->iSystemPriority = CThread::toSystemPriority(m_pOwner->getThreadPriority());
    std::memset(pInfo->szName, 0, sizeof(pInfo->szName));
    const CString& strName = m_pOwner->getThreadName();
    if (strName.length() > 0) {
        unsigned char szUtf8[64] = {};
        unsigned int uiWritten = 0;
        CStringConverter::convertToUTF8(strName.buffer(), szUtf8, sizeof(szUtf8), &uiWritten);
        // Cut at a character boundary: never inside a multi-byte sequence.
        unsigned int uiCut = uiWritten < 15 ? uiWritten : 15;
        while (uiCut > 0 && uiCut < uiWritten && (szUtf8[uiCut] & 0xC0) == 0x80)
            --uiCut;
        std::memcpy(pInfo->szName, szUtf8, uiCut);
    }

    pthread_t thread;
    if (pthread_create(&thread, nullptr, &CImpThread::threadEntry, pInfo) != 0) {
        delete pInfo;
        m_pOwner->notifyWorkerExited();
        return;
    }
    pthread_detach(thread);
    m_thread = thread;
    m_bHasThread = true;
}

void* CImpThread::threadEntry(void* pArgument)
{
    tagStartInfo* pInfo = static_cast<tagStartInfo*>(pArgument);
    CThread* pOwner = pInfo->pOwner;
    if (pInfo->szName[0])
        pthread_setname_np(pthread_self(), pInfo->szName);
    applyPriority(pInfo->iSystemPriority);
    delete pInfo;

    pOwner->notifyThreadStarted(static_cast<unsigned int>(syscall(SYS_gettid)));
    pOwner->run();
    pOwner->notifyThreadStopped();
    // The owner may be destroyed as soon as this returns: touch nothing after it.
    pOwner->notifyWorkerExited();
    return nullptr;
}

} // namespace Trell

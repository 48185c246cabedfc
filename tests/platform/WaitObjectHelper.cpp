// Second process for the named-object tests. Its events are the library's
// CWaitObject; the build for the other word size (ECS_HELPER_BARE) has no
// library and uses the named-object layer directly, which needs only the C
// library.
//
//   signal <event>                  opens, notifies, closes
//   hold <event> <ready>            opens <event>, notifies <ready>, waits on <event> for ever
//   rally <ping> <pong> <rounds>    per round waits on <ping> and notifies <pong>
//   churn <a> <b> <rounds>          per round opens and closes <a> and <b>
//   holdmutex <mutex> <ready> <ms>  locks, notifies <ready>, unlocks after <ms> (0: never)
// Exit codes: 0 done, 1 a wait timed out or an open failed, 2 bad usage,
// 3 the mutex came abandoned.
#include <platform/posix/NamedObject.h>
#ifndef ECS_HELPER_BARE
#include <platform/CWaitObject.h>
#include <text/CString.h>
#endif

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <unistd.h>

using namespace Trell;

namespace Trell {
void logNamedObject(const char* pszText)
{
    std::fprintf(stderr, "%s\n", pszText);
}
} // namespace Trell

namespace {

std::u16string wide(const char* pszText)
{
    return std::u16string(pszText, pszText + std::strlen(pszText));
}

#ifdef ECS_HELPER_BARE
struct tagEvent
{
    CNamedObject object;
    tagEventWords* pWords;
    explicit tagEvent(const char* pszName)
    {
        const std::u16string name = wide(pszName);
        object.open(CNamedObject::KIND_EVENT, name.c_str(), static_cast<unsigned int>(name.size()),
                    sizeof(tagEventWords));
        if (!(pWords = static_cast<tagEventWords*>(object.payload())))
            std::exit(1);
    }
    void notify() { pWords->notify(true); }
    void wait(unsigned int uiMilliseconds) { pWords->waitAndReset(true, uiMilliseconds, uiMilliseconds == 0); }
};
#else
struct tagEvent : CWaitObject
{
    explicit tagEvent(const char* pszName) : CWaitObject(CString(wide(pszName).c_str())) {}
};
#endif

// True when woken well before the 60 s limit.
bool woken(tagEvent& event)
{
    const time_t start = time(nullptr);
    event.wait(60000);
    return time(nullptr) - start < 55;
}

int lockResult(CNamedMutex& mutex, const char* pszName, unsigned int uiMilliseconds)
{
    const std::u16string name = wide(pszName);
    if (mutex.open(name.c_str(), static_cast<unsigned int>(name.size())) > CNamedObject::OPEN_JOINED)
        return 1;
    const CNamedMutex::ELock eLock = mutex.lock(uiMilliseconds, uiMilliseconds == 0);
    return eLock == CNamedMutex::LOCK_TAKEN ? 0 : eLock == CNamedMutex::LOCK_ABANDONED ? 3 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    const int iRounds = argc > 4 ? std::atoi(argv[4]) : 0;
    if (mode == "signal" && argc == 3) {
        tagEvent(argv[2]).notify();
    } else if (mode == "hold" && argc == 4) {
        tagEvent event(argv[2]);
        tagEvent(argv[3]).notify();
        event.wait(0);
    } else if (mode == "rally" && argc == 5) {
        tagEvent ping(argv[2]), pong(argv[3]);
        for (int i = 0; i < iRounds; ++i) {
            if (!woken(ping))
                return 1;
            pong.notify();
        }
    } else if (mode == "churn" && argc == 5) {
        for (int i = 0; i < iRounds; ++i) {
            tagEvent a(argv[2]), b(argv[3]);
        }
    } else if (mode == "holdmutex" && argc == 5) {
        CNamedMutex mutex;
        const int iResult = lockResult(mutex, argv[2], 0);
        tagEvent(argv[3]).notify();
        usleep(iRounds * 1000);
        while (iRounds == 0)
            pause();
        return mutex.unlock() ? iResult : 1;
    } else {
        return 2;
    }
    return 0;
}

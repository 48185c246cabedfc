// Second process for the named-object tests. Its events are the library's
// CWaitObject; the 32-bit build (ECS_HELPER_BARE) has no library and uses the
// named-object layer directly, which needs only the C library.
//
//   signal <event>                 opens, notifies, closes
//   pingpong <ping> <pong>         notifies <ping>, waits up to 60 s on <pong>
//   waitgo <event>                 waits up to 60 s on <event>
//   hold <event> <ready>           opens <event>, notifies <ready>, waits on <event> for ever
//   openexit <event>               opens <event> and _exits without closing
//   rally <ping> <pong> <rounds>   per round waits on <ping> and notifies <pong>
//   churn <a> <b> <rounds>         per round opens and closes <a> and <b>
//   holdmutex <mutex> <ready>      locks, notifies <ready>, sleeps for ever
//   handover <mutex> <ready>       locks, notifies <ready>, unlocks after 200 ms
//   lockmutex <mutex>              locks within 60 s
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

std::u16string toName(const char* pszName)
{
    return std::u16string(pszName, pszName + std::strlen(pszName));
}

#ifdef ECS_HELPER_BARE
struct tagEvent
{
    CNamedObject object;
    tagEventWords* pWords = nullptr;

    explicit tagEvent(const char* pszName)
    {
        const std::u16string name = toName(pszName);
        object.open(CNamedObject::KIND_EVENT, name.c_str(), static_cast<unsigned int>(name.size()),
                    sizeof(tagEventWords));
        pWords = static_cast<tagEventWords*>(object.payload());
        if (!pWords)
            std::exit(1);
    }
    void notify() { pWords->notify(true); }
    void wait(unsigned int uiMilliseconds) { pWords->waitAndReset(true, uiMilliseconds, uiMilliseconds == 0); }
};
#else
struct tagEvent : CWaitObject
{
    explicit tagEvent(const char* pszName) : CWaitObject(CString(toName(pszName).c_str())) {}
};
#endif

bool waitedLessThanDeadline(tagEvent& event)
{
    timespec start, end;
    clock_gettime(CLOCK_MONOTONIC, &start);
    event.wait(60000);
    clock_gettime(CLOCK_MONOTONIC, &end);
    return end.tv_sec - start.tv_sec < 55;
}

struct tagMutex : CNamedMutex
{
    explicit tagMutex(const char* pszName)
    {
        const std::u16string name = toName(pszName);
        if (!isOpen(open(name.c_str(), static_cast<unsigned int>(name.size()))))
            std::exit(1);
    }
    static bool isOpen(CNamedObject::EOpen e) { return e == CNamedObject::OPEN_CREATED || e == CNamedObject::OPEN_JOINED; }
    int lockResult(unsigned int uiMilliseconds, bool bForever)
    {
        switch (lock(uiMilliseconds, bForever)) {
        case LOCK_TAKEN:
            return 0;
        case LOCK_ABANDONED:
            return 3;
        default:
            return 1;
        }
    }
};

} // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "signal" && argc == 3) {
        tagEvent(argv[2]).notify();
        return 0;
    }
    if (mode == "pingpong" && argc == 4) {
        tagEvent ping(argv[2]);
        tagEvent pong(argv[3]);
        ping.notify();
        return waitedLessThanDeadline(pong) ? 0 : 1;
    }
    if (mode == "waitgo" && argc == 3) {
        tagEvent event(argv[2]);
        return waitedLessThanDeadline(event) ? 0 : 1;
    }
    if (mode == "hold" && argc == 4) {
        tagEvent event(argv[2]);
        tagEvent(argv[3]).notify();
        event.wait(0);
        return 0;
    }
    if (mode == "openexit" && argc == 3) {
        tagEvent event(argv[2]);
        _exit(0);
    }
    if (mode == "rally" && argc == 5) {
        tagEvent ping(argv[2]);
        tagEvent pong(argv[3]);
        for (int i = std::atoi(argv[4]); i > 0; --i) {
            if (!waitedLessThanDeadline(ping))
                return 1;
            pong.notify();
        }
        return 0;
    }
    if (mode == "churn" && argc == 5) {
        for (int i = std::atoi(argv[4]); i > 0; --i) {
            tagEvent a(argv[2]);
            tagEvent b(argv[3]);
        }
        return 0;
    }
    if (mode == "holdmutex" && argc == 4) {
        tagMutex mutex(argv[2]);
        const int iResult = mutex.lockResult(0, true);
        tagEvent(argv[3]).notify();
        for (;;)
            pause();
        return iResult;
    }
    if (mode == "handover" && argc == 4) {
        tagMutex mutex(argv[2]);
        const int iResult = mutex.lockResult(0, true);
        tagEvent(argv[3]).notify();
        usleep(200000);
        return mutex.unlock() ? iResult : 1;
    }
    if (mode == "lockmutex" && argc == 3) {
        tagMutex mutex(argv[2]);
        const int iResult = mutex.lockResult(60000, false);
        return mutex.unlock() ? iResult : 1;
    }
    return 2;
}

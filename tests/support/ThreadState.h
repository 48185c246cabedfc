#pragma once

// What the tests ask the system about threads, on POSIX and on Windows.

#ifdef _WIN32
#include <windows.h>
#else
#include <fstream>
#include <iterator>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#endif

// The system's id of the calling thread (what CThread reports as its id).
inline long currentThreadId()
{
#ifdef _WIN32
    return static_cast<long>(GetCurrentThreadId());
#else
    return static_cast<long>(syscall(SYS_gettid));
#endif
}

// Whether a thread of this process is asleep in the kernel (blocked in a wait).
inline bool isThreadSleeping(long tid)
{
#ifdef _WIN32
    // Windows has no per-thread state to read cheaply: a thread that spends
    // no processor time while it is watched, longer than the thread times'
    // clock tick (wine has no cycle counter to be more exact), is blocked.
    // Times that cannot be read (nor a thread that cannot be opened) give the
    // two samples different values: the thread counts as busy then.
    HANDLE hThread = OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(tid));
    const auto used = [hThread](ULONG64 ullBusy) {
        FILETIME created, exited, kernel, user;
        if (!GetThreadTimes(hThread, &created, &exited, &kernel, &user))
            return ullBusy;
        return (static_cast<ULONG64>(kernel.dwHighDateTime) << 32 | kernel.dwLowDateTime) +
               (static_cast<ULONG64>(user.dwHighDateTime) << 32 | user.dwLowDateTime);
    };
    const ULONG64 ullBefore = used(0);
    Sleep(60);
    const bool bSleeping = used(1) == ullBefore;
    CloseHandle(hThread); // a null handle is refused harmlessly
    return bSleeping;
#else
    // The state follows the name in parentheses, which may hold anything.
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const size_t close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] == 'S';
#endif
}

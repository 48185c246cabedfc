#pragma once

// What the tests ask the system about threads, on POSIX and on Windows.

#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include <cstdio>
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
    // no processor time while it is watched is blocked. The cycle counter is
    // exact; where it is missing (wine), the thread times tell, watched long
    // enough to outlast their clock tick.
    HANDLE hThread = OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(tid));
    if (!hThread)
        return false;
    ULONG64 ullCycles[2] = {0, 0};
    FILETIME times[2][4] = {};
    auto sample = [&](int i) {
        const bool bCycles = QueryThreadCycleTime(hThread, &ullCycles[i]) && ullCycles[i] != 0;
        const bool bTimes = GetThreadTimes(hThread, &times[i][0], &times[i][1], &times[i][2], &times[i][3]);
        return bCycles ? 1 : bTimes ? 2 : 0;
    };
    const int iKind = sample(0);
    Sleep(iKind == 1 ? 20 : 60);
    sample(1);
    CloseHandle(hThread);
    if (iKind == 1)
        return ullCycles[0] == ullCycles[1];
    const auto used = [&](int i) {
        return (static_cast<ULONG64>(times[i][2].dwHighDateTime) << 32 | times[i][2].dwLowDateTime) +
               (static_cast<ULONG64>(times[i][3].dwHighDateTime) << 32 | times[i][3].dwLowDateTime);
    };
    return iKind == 2 && used(0) == used(1);
#else
    char path[64];
    std::snprintf(path, sizeof(path), "/proc/self/task/%ld/stat", tid);
    FILE* pFile = std::fopen(path, "r");
    if (!pFile)
        return false;
    char buffer[512] = {};
    size_t count = std::fread(buffer, 1, sizeof(buffer) - 1, pFile);
    std::fclose(pFile);
    std::string stat(buffer, count);
    size_t close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] == 'S';
#endif
}

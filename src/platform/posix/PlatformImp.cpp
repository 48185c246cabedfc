#include <platform/PlatformImp.h>

#include <platform/IShareMemoryOwner.h>
#include <platform/SocketOwner.h>
#include <platform/posix/CImpFile.h>
#include <platform/posix/CImpFolder.h>
#include <platform/posix/CImpLibraryLoader.h>
#include <platform/posix/CImpPath.h>
#include <platform/posix/CImpShareMemory.h>
#include <platform/posix/CImpSocketClient.h>
#include <platform/posix/CImpSocketServer.h>
#include <platform/posix/CImpSyncObject.h>
#include <platform/posix/CImpSystem.h>
#include <platform/posix/CImpThread.h>
#include <platform/posix/CImpWaitObject.h>
#include <platform/posix/NativePath.h>
#include <text/CString.h>

// The factories that are the same on every platform, for the classes above.
#include <platform/ImpFactories.inl>

#include <atomic>
#include <ctime>
#include <mutex>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#define ECS_TICK_CACHE 1
#endif

namespace Trell {
namespace PlatformImp {

namespace {

unsigned long long readMonotonicNanoseconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<unsigned long long>(ts.tv_sec) * 1000000000ull + static_cast<unsigned long long>(ts.tv_nsec);
}

#ifdef ECS_TICK_CACHE
// The message center reads the tick on every pop, and clock_gettime costs
// far more than the time stamp counter it is built on. Each thread keeps the
// millisecond it last read and the counter value taken just before that
// read; while fewer counter cycles have passed than three quarters of what
// remained of that millisecond, the millisecond cannot have ended and is
// returned without asking the clock. Near the end of a millisecond, on
// another thread's first call, or before the counter's rate is known, the
// clock is read as before, so every tick returned is one the clock showed
// during the call.
struct tagTickCache
{
    unsigned long long ullCounter; // taken before the clock read
    unsigned long long ullBudget;  // cycles during which uiTick still holds
    unsigned int uiTick;
};

thread_local tagTickCache t_tickCache = {0, 0, 0};

// Counter cycles per millisecond, 0 until measured. Measured once against the
// clock over at least 20 ms; samples in which the thread may have been
// interrupted between counter and clock are not used.
std::atomic<unsigned long long> s_ullCyclesPerMs{0};
std::mutex s_calibrationMutex;
unsigned long long s_ullCalibrationCounter = 0;     // guarded by s_calibrationMutex
unsigned long long s_ullCalibrationNanoseconds = 0; // guarded by s_calibrationMutex; 0: no sample yet

const unsigned long long CALIBRATION_SPAN_NS = 20000000ull;
// A clock read bracketed by counter values further apart than this was
// interrupted and says nothing about the rate.
const unsigned long long CALIBRATION_SAMPLE_CYCLES = 20000ull;

void calibrate(unsigned long long ullCounter, unsigned long long ullNanoseconds, unsigned long long ullAfter)
{
    if (ullAfter - ullCounter > CALIBRATION_SAMPLE_CYCLES)
        return;
    // Whoever finds the mutex busy leaves the measuring to the holder.
    std::unique_lock<std::mutex> guard(s_calibrationMutex, std::try_to_lock);
    if (!guard.owns_lock())
        return;
    if (s_ullCalibrationNanoseconds == 0) {
        s_ullCalibrationCounter = ullCounter;
        s_ullCalibrationNanoseconds = ullNanoseconds;
        return;
    }
    if (ullNanoseconds < s_ullCalibrationNanoseconds + CALIBRATION_SPAN_NS || ullCounter <= s_ullCalibrationCounter)
        return;
    const unsigned long long ullRate =
        (ullCounter - s_ullCalibrationCounter) / ((ullNanoseconds - s_ullCalibrationNanoseconds) / 1000000ull);
    s_ullCyclesPerMs.store(ullRate, std::memory_order_relaxed);
}
#endif

} // namespace

unsigned int getSystemTickCount()
{
#ifdef ECS_TICK_CACHE
    const unsigned long long ullCounter = __rdtsc();
    tagTickCache& cache = t_tickCache;
    if (ullCounter - cache.ullCounter < cache.ullBudget)
        return cache.uiTick;
    const unsigned long long ullNanoseconds = readMonotonicNanoseconds();
    const unsigned int uiTick = static_cast<unsigned int>(ullNanoseconds / 1000000ull);
    const unsigned long long ullRate = s_ullCyclesPerMs.load(std::memory_order_relaxed);
    if (ullRate == 0)
        calibrate(ullCounter, ullNanoseconds, __rdtsc());
    const unsigned long long ullLeftNs = 1000000ull - ullNanoseconds % 1000000ull;
    cache.ullCounter = ullCounter;
    cache.ullBudget = ullLeftNs * ullRate / 1000000ull * 3 / 4;
    cache.uiTick = uiTick;
    return uiTick;
#else
    return static_cast<unsigned int>(readMonotonicNanoseconds() / 1000000ull);
#endif
}

void getLocalTime(tagLocalTime& time)
{
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    std::tm local{};
    time_t seconds = ts.tv_sec;
    if (!localtime_r(&seconds, &local)) {
        time = tagLocalTime{1, 1, 1, 0, 0, 0, 0};
        return;
    }
    time.usYear = static_cast<unsigned short>(local.tm_year + 1900);
    time.usMonth = static_cast<unsigned short>(local.tm_mon + 1);
    time.usDay = static_cast<unsigned short>(local.tm_mday);
    time.usHour = static_cast<unsigned short>(local.tm_hour);
    time.usMinute = static_cast<unsigned short>(local.tm_min);
    // A leap second (60) is folded into 59 by the caller's clamping.
    time.usSecond = static_cast<unsigned short>(local.tm_sec);
    time.usMilliseconds = static_cast<unsigned short>(ts.tv_nsec / 1000000L);
}

std::FILE* openFileStream(const CString& strPath, const char16_t* pszMode)
{
    if (!pszMode)
        return nullptr;
    const std::string strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return nullptr;
    // Modes are plain ASCII ("rb", "w+", "ab"...). "e" keeps the descriptor
    // from leaking into child processes.
    std::string strMode;
    for (const char16_t* p = pszMode; *p; ++p) {
        if (*p >= 0x80)
            return nullptr;
        strMode += static_cast<char>(*p);
    }
    strMode += 'e';
    std::FILE* pStream = std::fopen(strNative.c_str(), strMode.c_str());
    // A folder opens for reading here but is no file to read.
    struct stat st;
    if (pStream && fstat(fileno(pStream), &st) == 0 && S_ISDIR(st.st_mode)) {
        std::fclose(pStream);
        return nullptr;
    }
    return pStream;
}

} // namespace PlatformImp
} // namespace Trell

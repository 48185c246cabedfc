#include <platform/PlatformImp.h>

#include <platform/posix/CImpFile.h>
#include <platform/posix/CImpFolder.h>
#include <platform/posix/CImpLibraryLoader.h>
#include <platform/posix/CImpPath.h>
#include <platform/posix/CImpSyncObject.h>
#include <platform/posix/CImpThread.h>
#include <platform/posix/CImpWaitObject.h>
#include <platform/posix/NativePath.h>
#include <text/CString.h>

#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace Trell {
namespace PlatformImp {

ISyncObject* createSyncObject()
{
    return new CImpSyncObject();
}

IWaitObject* createWaitObject(const CString& strName)
{
    return new CImpWaitObject(strName);
}

IThread* createThread(CThread* pOwner)
{
    return new CImpThread(pOwner);
}

IPath* createPath()
{
    return new CImpPath();
}

IFile* createFile()
{
    return new CImpFile();
}

IFolder* createFolder()
{
    return new CImpFolder();
}

ILibraryLoader* createLibraryLoader()
{
    return new CImpLibraryLoader();
}

unsigned int getSystemTickCount()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    const unsigned long long ullMilliseconds =
        static_cast<unsigned long long>(ts.tv_sec) * 1000ull + static_cast<unsigned long long>(ts.tv_nsec) / 1000000ull;
    return static_cast<unsigned int>(ullMilliseconds);
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

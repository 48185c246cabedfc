#include <platform/PlatformImp.h>

#include <platform/posix/FileIo.h>
#include <platform/posix/NativePath.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace Trell {
namespace PlatformImp {

namespace {

// Follows symbolic links from strPath to the name that is finally written;
// that name itself may not exist yet. False for a loop or an unreadable link.
bool resolveLinks(std::string& strPath)
{
    for (int iHops = 0; iHops < 40; ++iHops) {
        struct stat st;
        if (lstat(strPath.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
            return true;
        std::vector<char> buffer(PATH_MAX + 1, '\0');
        const ssize_t iLength = readlink(strPath.c_str(), buffer.data(), PATH_MAX);
        if (iLength <= 0)
            return false;
        std::string strTarget(buffer.data(), static_cast<std::size_t>(iLength));
        // A relative link is relative to the folder that holds it.
        const std::size_t uiSlash = strPath.find_last_of('/');
        if (strTarget[0] != '/' && uiSlash != std::string::npos)
            strTarget = strPath.substr(0, uiSlash + 1) + strTarget;
        strPath = strTarget;
    }
    return false;
}

// Creates a file of a new name strStem + suffix, so that no file of the
// user's is overwritten; fd, or -1.
int createUnique(const std::string& strStem, mode_t uiMode, std::string& strTemp)
{
    static std::atomic<unsigned int> s_uiCounter{0};
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    for (int iTry = 0; iTry < 100; ++iTry) {
        const unsigned long long ullTag = (static_cast<unsigned long long>(getpid()) << 32) ^
                                          static_cast<unsigned long long>(ts.tv_nsec) ^
                                          (static_cast<unsigned long long>(s_uiCounter.fetch_add(1)) << 40);
        char szSuffix[24];
        std::snprintf(szSuffix, sizeof(szSuffix), ".%llx", ullTag);
        strTemp = strStem + szSuffix;
        const int fd = open(strTemp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, uiMode);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

// Makes the rename itself durable; a folder that cannot be synced still holds
// either the old file or the new one, so this is best effort.
void syncFolder(const std::string& strFolder)
{
    const int fd = open(strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

} // namespace

bool replaceFileContent(const CString& strPath, const unsigned char* pData, unsigned int uiCount)
{
    std::string strTarget = NativePath::toNative(strPath);
    if (strTarget.empty() || strTarget.back() == '/' || (!pData && uiCount > 0) || !resolveLinks(strTarget))
        return false;
    const std::size_t uiSlash = strTarget.find_last_of('/');
    const std::string strFolder = uiSlash == std::string::npos ? std::string(".") : strTarget.substr(0, uiSlash + 1);
    const std::string strName = uiSlash == std::string::npos ? strTarget : strTarget.substr(uiSlash + 1);

    struct stat stTarget;
    const bool bExists = stat(strTarget.c_str(), &stTarget) == 0;
    if (bExists && !S_ISREG(stTarget.st_mode))
        return false;

    // Hidden beside the target, so that listings do not show it meanwhile. A
    // new file gets the mode a plain create gives (0666 less the umask); an
    // existing one's owner and mode are copied before anything is written.
    std::string strTemp;
    const std::string strStem = (uiSlash == std::string::npos ? std::string() : strFolder) + "." + strName;
    const int fd = createUnique(strStem, bExists ? 0600 : 0666, strTemp);
    if (fd < 0)
        return false;
    bool bOk = true;
    if (bExists) {
        // Only the super-user may give a file away; a save does not fail
        // for an owner or group it cannot keep.
        if (fchown(fd, stTarget.st_uid, stTarget.st_gid) != 0)
            static_cast<void>(fchown(fd, static_cast<uid_t>(-1), stTarget.st_gid) == 0);
        bOk = fchmod(fd, stTarget.st_mode & 07777) == 0;
    }
    bOk = bOk && PosixIo::writeAll(fd, pData, uiCount) && fsync(fd) == 0;
    if (close(fd) != 0)
        bOk = false;
    if (bOk && std::rename(strTemp.c_str(), strTarget.c_str()) != 0)
        bOk = false;
    if (!bOk) {
        unlink(strTemp.c_str());
        return false;
    }
    syncFolder(strFolder);
    return true;
}

} // namespace PlatformImp
} // namespace Trell

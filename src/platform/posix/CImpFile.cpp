#include <platform/posix/CImpFile.h>

#include <platform/posix/FileIo.h>
#include <platform/posix/NativePath.h>
#include <text/CString.h>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Trell {

namespace {

// Seconds from 1601-01-01 to 1970-01-01: file times count from 1601 in
// 100-nanosecond units on every platform.
const unsigned long long EPOCH_DIFFERENCE_SECONDS = 11644473600ull;

bool statPath(const std::string& strNative, struct stat& st)
{
    return !strNative.empty() && stat(strNative.c_str(), &st) == 0;
}

bool copyContent(const std::string& strFrom, const std::string& strTo, bool bFailIfExists)
{
    int fdIn = open(strFrom.c_str(), O_RDONLY | O_CLOEXEC);
    if (fdIn < 0)
        return false;
    struct stat st;
    if (fstat(fdIn, &st) != 0 || S_ISDIR(st.st_mode)) {
        close(fdIn);
        return false;
    }
    // Copying a file onto itself (another spelling of the same name) would
    // truncate the source.
    struct stat stTarget;
    if (stat(strTo.c_str(), &stTarget) == 0 && stTarget.st_dev == st.st_dev && stTarget.st_ino == st.st_ino) {
        close(fdIn);
        return false;
    }
    int iFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | (bFailIfExists ? O_EXCL : 0);
    int fdOut = open(strTo.c_str(), iFlags, st.st_mode & 07777);
    if (fdOut < 0) {
        close(fdIn);
        return false;
    }
    bool bOk = true;
    char buffer[65536];
    for (;;) {
        ssize_t iRead = read(fdIn, buffer, sizeof(buffer));
        if (iRead < 0) {
            if (errno == EINTR)
                continue;
            bOk = false;
            break;
        }
        if (iRead == 0)
            break;
        if (!PosixIo::writeAll(fdOut, buffer, static_cast<std::size_t>(iRead))) {
            bOk = false;
            break;
        }
    }
    if (bOk) {
        // Like a copy on Windows: same permissions and modification time.
        fchmod(fdOut, st.st_mode & 07777);
        timespec times[2] = {st.st_atim, st.st_mtim};
        futimens(fdOut, times);
    }
    if (close(fdOut) != 0)
        bOk = false;
    close(fdIn);
    if (!bOk)
        unlink(strTo.c_str());
    return bOk;
}

} // namespace

bool CImpFile::isExist(const CString& strPath)
{
    struct stat st;
    return statPath(NativePath::toNative(strPath), st);
}

IFile::EFileType CImpFile::getFileType(const CString& strPath)
{
    struct stat st;
    if (!statPath(NativePath::toNative(strPath), st))
        return FILE_TYPE_NONE;
    if (S_ISDIR(st.st_mode))
        return FILE_TYPE_FOLDER;
    if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode))
        return FILE_TYPE_DEVICE;
    return FILE_TYPE_FILE;
}

bool CImpFile::isReadOnly(const CString& strPath)
{
    const std::string strNative = NativePath::toNative(strPath);
    struct stat st;
    if (!statPath(strNative, st))
        return false;
    if ((st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        return true;
    return access(strNative.c_str(), W_OK) != 0 && (errno == EACCES || errno == EROFS || errno == EPERM);
}

bool CImpFile::setWritable(const CString& strPath)
{
    const std::string strNative = NativePath::toNative(strPath);
    struct stat st;
    if (!statPath(strNative, st) || !isReadOnly(strPath))
        return true;
    return chmod(strNative.c_str(), (st.st_mode & 07777) | S_IWUSR) == 0 && !isReadOnly(strPath);
}

unsigned long long CImpFile::getLastModifyTime(const CString& strPath)
{
    const std::string strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return 0;
    // Opened for reading first, as a file that cannot be opened has no time.
    int fd = open(strNative.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    struct stat st;
    const bool bOk = fstat(fd, &st) == 0 && !S_ISDIR(st.st_mode);
    close(fd);
    if (!bOk || st.st_mtim.tv_sec < -static_cast<long long>(EPOCH_DIFFERENCE_SECONDS))
        return 0;
    const unsigned long long ullSeconds =
        static_cast<unsigned long long>(st.st_mtim.tv_sec + static_cast<long long>(EPOCH_DIFFERENCE_SECONDS));
    return ullSeconds * 10000000ull + static_cast<unsigned long long>(st.st_mtim.tv_nsec) / 100ull;
}

bool CImpFile::moveFile(const CString& strFrom, const CString& strTo)
{
    const std::string strNativeFrom = NativePath::toNative(strFrom);
    const std::string strNativeTo = NativePath::toNative(strTo);
    if (strNativeFrom.empty() || strNativeTo.empty())
        return false;
    if (rename(strNativeFrom.c_str(), strNativeTo.c_str()) == 0)
        return true;
    if (errno != EXDEV)
        return false;
    // Across file systems a file is moved by copy and delete, as the
    // Windows move does; folders are not.
    if (!copyContent(strNativeFrom, strNativeTo, true))
        return false;
    return unlink(strNativeFrom.c_str()) == 0;
}

bool CImpFile::deleteFile(const CString& strPath)
{
    const std::string strNative = NativePath::toNative(strPath);
    return !strNative.empty() && unlink(strNative.c_str()) == 0;
}

bool CImpFile::copyFile(const CString& strFrom, const CString& strTo, bool bFailIfExists)
{
    const std::string strNativeFrom = NativePath::toNative(strFrom);
    const std::string strNativeTo = NativePath::toNative(strTo);
    if (strNativeFrom.empty() || strNativeTo.empty())
        return false;
    return copyContent(strNativeFrom, strNativeTo, bFailIfExists);
}

} // namespace Trell

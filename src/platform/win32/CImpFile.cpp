#include <platform/win32/CImpFile.h>

#include <platform/win32/NativePath.h>
#include <text/CString.h>

#include <windows.h>

namespace Trell {

namespace {

DWORD attributesOf(const std::wstring& strNative)
{
    return strNative.empty() ? INVALID_FILE_ATTRIBUTES : GetFileAttributesW(strNative.c_str());
}

} // namespace

bool CImpFile::isExist(const CString& strPath)
{
    return attributesOf(NativePath::toNative(strPath)) != INVALID_FILE_ATTRIBUTES;
}

IFile::EFileType CImpFile::getFileType(const CString& strPath)
{
    const DWORD uiAttributes = attributesOf(NativePath::toNative(strPath));
    if (uiAttributes == INVALID_FILE_ATTRIBUTES)
        return FILE_TYPE_NONE;
    if (uiAttributes & FILE_ATTRIBUTE_DIRECTORY)
        return FILE_TYPE_FOLDER;
    if (uiAttributes & FILE_ATTRIBUTE_DEVICE)
        return FILE_TYPE_DEVICE;
    return FILE_TYPE_FILE;
}

bool CImpFile::isReadOnly(const CString& strPath)
{
    const DWORD uiAttributes = attributesOf(NativePath::toNative(strPath));
    return uiAttributes != INVALID_FILE_ATTRIBUTES && (uiAttributes & FILE_ATTRIBUTE_READONLY) != 0;
}

bool CImpFile::setWritable(const CString& strPath)
{
    const std::wstring strNative = NativePath::toNative(strPath);
    const DWORD uiAttributes = attributesOf(strNative);
    if (uiAttributes == INVALID_FILE_ATTRIBUTES || (uiAttributes & FILE_ATTRIBUTE_READONLY) == 0)
        return true;
    return SetFileAttributesW(strNative.c_str(), uiAttributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) != 0;
}

unsigned long long CImpFile::getLastModifyTime(const CString& strPath)
{
    const std::wstring strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return 0;
    HANDLE hFile = CreateFileW(strNative.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
        return 0;
    FILETIME lastWrite = {};
    const BOOL bOk = GetFileTime(hFile, nullptr, nullptr, &lastWrite);
    CloseHandle(hFile);
    if (!bOk)
        return 0;
    return (static_cast<unsigned long long>(lastWrite.dwHighDateTime) << 32) | lastWrite.dwLowDateTime;
}

bool CImpFile::moveFile(const CString& strFrom, const CString& strTo)
{
    const std::wstring strNativeFrom = NativePath::toNative(strFrom);
    const std::wstring strNativeTo = NativePath::toNative(strTo);
    if (strNativeFrom.empty() || strNativeTo.empty())
        return false;
    // Across volumes a file is copied and deleted; folders are not.
    return MoveFileExW(strNativeFrom.c_str(), strNativeTo.c_str(), MOVEFILE_COPY_ALLOWED) != 0;
}

bool CImpFile::deleteFile(const CString& strPath)
{
    const std::wstring strNative = NativePath::toNative(strPath);
    return !strNative.empty() && DeleteFileW(strNative.c_str()) != 0;
}

bool CImpFile::copyFile(const CString& strFrom, const CString& strTo, bool bFailIfExists)
{
    const std::wstring strNativeFrom = NativePath::toNative(strFrom);
    const std::wstring strNativeTo = NativePath::toNative(strTo);
    if (strNativeFrom.empty() || strNativeTo.empty())
        return false;
    return CopyFileW(strNativeFrom.c_str(), strNativeTo.c_str(), bFailIfExists ? TRUE : FALSE) != 0;
}

} // namespace Trell

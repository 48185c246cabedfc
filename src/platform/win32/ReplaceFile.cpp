#include <platform/PlatformImp.h>

#include <platform/win32/NativePath.h>

#include <windows.h>

#include <atomic>
#include <cwchar>
#include <string>
#include <vector>

namespace Trell {
namespace PlatformImp {

namespace {

// The name a link finally leads to (GetFinalPathNameByHandleW), or the path
// itself when it is no link. False when a link cannot be followed.
bool resolveLink(std::wstring& strPath)
{
    const DWORD uiAttributes = GetFileAttributesW(strPath.c_str());
    if (uiAttributes == INVALID_FILE_ATTRIBUTES || (uiAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return true;
    HANDLE hFile = CreateFileW(strPath.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
        return false;
    std::vector<wchar_t> buffer(32768, L'\0');
    const DWORD uiLength = GetFinalPathNameByHandleW(hFile, buffer.data(), static_cast<DWORD>(buffer.size()), 0);
    CloseHandle(hFile);
    if (uiLength == 0 || uiLength >= buffer.size())
        return false;
    strPath.assign(buffer.data(), uiLength);
    return true;
}

// Creates a file of a new name strStem + suffix, so that no file of the
// user's is overwritten; the handle, or INVALID_HANDLE_VALUE.
HANDLE createUnique(const std::wstring& strStem, std::wstring& strTemp)
{
    static std::atomic<unsigned int> s_uiCounter{0};
    for (int iTry = 0; iTry < 100; ++iTry) {
        wchar_t szSuffix[40];
        std::swprintf(szSuffix, sizeof(szSuffix) / sizeof(szSuffix[0]), L".%lx%x%x", GetCurrentProcessId(),
                      GetTickCount(), s_uiCounter.fetch_add(1));
        strTemp = strStem + szSuffix;
        HANDLE hFile =
            CreateFileW(strTemp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_HIDDEN, nullptr);
        if (hFile != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS)
            return hFile;
    }
    return INVALID_HANDLE_VALUE;
}

bool writeAll(HANDLE hFile, const unsigned char* pData, unsigned int uiCount)
{
    while (uiCount > 0) {
        DWORD uiWritten = 0;
        if (!WriteFile(hFile, pData, uiCount, &uiWritten, nullptr) || uiWritten == 0)
            return false;
        pData += uiWritten;
        uiCount -= uiWritten;
    }
    return true;
}

} // namespace

bool replaceFileContent(const CString& strPath, const unsigned char* pData, unsigned int uiCount)
{
    std::wstring strTarget = NativePath::toNative(strPath);
    if (strTarget.empty() || strTarget.back() == L'\\' || (!pData && uiCount > 0) || !resolveLink(strTarget))
        return false;
    const DWORD uiAttributes = GetFileAttributesW(strTarget.c_str());
    const bool bExists = uiAttributes != INVALID_FILE_ATTRIBUTES;
    if (bExists && (uiAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)))
        return false;
    const std::size_t uiSlash = strTarget.find_last_of(L'\\');
    const std::wstring strStem = uiSlash == std::wstring::npos
                                     ? L"." + strTarget
                                     : strTarget.substr(0, uiSlash + 1) + L"." + strTarget.substr(uiSlash + 1);

    // Hidden beside the target, so that listings do not show it meanwhile.
    std::wstring strTemp;
    HANDLE hFile = createUnique(strStem, strTemp);
    if (hFile == INVALID_HANDLE_VALUE)
        return false;
    bool bOk = writeAll(hFile, pData, uiCount) && FlushFileBuffers(hFile);
    if (!CloseHandle(hFile))
        bOk = false;
    // The new file takes the old one's attributes (read-only aside, which
    // would refuse the rename).
    if (bOk) {
        const DWORD uiKeep =
            bExists ? (uiAttributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY)) : FILE_ATTRIBUTE_NORMAL;
        SetFileAttributesW(strTemp.c_str(), uiKeep == 0 ? FILE_ATTRIBUTE_NORMAL : uiKeep);
    }
    if (bOk && !MoveFileExW(strTemp.c_str(), strTarget.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        bOk = false;
    if (!bOk) {
        DeleteFileW(strTemp.c_str());
        return false;
    }
    return true;
}

} // namespace PlatformImp
} // namespace Trell

#include <platform/win32/CImpFolder.h>

#include <platform/PlatformImp.h>
#include <platform/win32/NativePath.h>
#include <platform/win32/WideText.h>

#include <windows.h>

#include <string>

namespace Trell {

namespace {

bool exists(const std::wstring& strNative)
{
    return GetFileAttributesW(strNative.c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool makeFolder(const std::wstring& strNative)
{
    return CreateDirectoryW(strNative.c_str(), nullptr) != 0 ||
           (GetLastError() == ERROR_ALREADY_EXISTS && exists(strNative));
}

bool isDotName(const wchar_t* pszName)
{
    return pszName[0] == L'.' && (pszName[1] == L'\0' || (pszName[1] == L'.' && pszName[2] == L'\0'));
}

} // namespace

bool CImpFolder::createFolder(const CString& strPath)
{
    // The native form has "\\" only, so one walk covers both separators.
    const std::wstring strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return false;
    if (exists(strNative))
        return true;
    for (std::size_t uiPos = strNative.find(L'\\', 1); uiPos != std::wstring::npos;
         uiPos = strNative.find(L'\\', uiPos + 1)) {
        if (uiPos + 1 == strNative.size())
            break; // a trailing separator: the full path comes next
        if (strNative[uiPos - 1] == L'\\' || strNative[uiPos - 1] == L':')
            continue; // repeated separators, or a drive's root, name no new folder
        const std::wstring strPrefix = strNative.substr(0, uiPos);
        if (!exists(strPrefix) && !makeFolder(strPrefix))
            return false;
    }
    return makeFolder(strNative);
}

bool CImpFolder::deleteFolder(const CString& strPath)
{
    // A link to a folder is removed as the link itself.
    const std::wstring strNative = NativePath::toNative(strPath);
    return !strNative.empty() && RemoveDirectoryW(strNative.c_str()) != 0;
}

bool CImpFolder::listEntries(const CString& strPath, CObjectArray<tagEntry>& aryEntries)
{
    std::wstring strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return false;
    if (strNative.back() != L'\\')
        strNative += L'\\';
    WIN32_FIND_DATAW data;
    HANDLE hFind = FindFirstFileW((strNative + L"*").c_str(), &data);
    if (hFind == INVALID_HANDLE_VALUE)
        return false;
    // Entry paths are folder + "/" + name, written with "/" only.
    CString strFolder;
    NativePath::fromNative(strNative.c_str(), strFolder);
    do {
        if (isDotName(data.cFileName))
            continue;
        tagEntry* pItem = new tagEntry;
        if (!pItem)
            break;
        const DWORD uiAttributes = data.dwFileAttributes;
        pItem->isLink = (uiAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
        pItem->isFolder = (uiAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        pItem->isHidden =
            (uiAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DEVICE)) != 0 ||
            data.cFileName[0] == L'.';
        pItem->name = CString(WideText::fromWide(data.cFileName));
        pItem->path = strFolder;
        pItem->path.append(pItem->name);
        if (!aryEntries.add(pItem))
            delete pItem;
    } while (FindNextFileW(hFind, &data));
    FindClose(hFind);
    return true;
}

bool PlatformImp::isLink(const CString& strPath)
{
    std::wstring strNative = NativePath::toNative(strPath);
    while (strNative.size() > 1 && strNative.back() == L'\\')
        strNative.pop_back();
    if (strNative.empty())
        return false;
    const DWORD uiAttributes = GetFileAttributesW(strNative.c_str());
    return uiAttributes != INVALID_FILE_ATTRIBUTES && (uiAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

} // namespace Trell

#include <platform/win32/CImpPath.h>

#include <platform/PathText.h>
#include <platform/PlatformImp.h>
#include <platform/win32/NativePath.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>

#include <windows.h>

#include <vector>

namespace Trell {

namespace {

CString withSlashes(const wchar_t* pszPath)
{
    CString strOut;
    NativePath::fromNative(pszPath, strOut);
    return strOut;
}

} // namespace

CString CImpPath::getApplicationFolder()
{
    wchar_t szPath[MAX_PATH] = {};
    const DWORD uiLength = GetModuleFileNameW(nullptr, szPath, MAX_PATH);
    if (uiLength == 0 || uiLength >= MAX_PATH)
        return CString();
    // Clears back to the last backslash, which goes too.
    for (DWORD i = uiLength; i > 0; --i) {
        const bool bSeparator = szPath[i - 1] == L'\\';
        szPath[i - 1] = L'\0';
        if (bSeparator)
            break;
    }
    return withSlashes(szPath);
}

CString CImpPath::generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath)
{
    // Folder names compare without case, as Windows file systems do.
    return PathText::relative(strBasePath, bBaseIsFolder, strPath, true);
}

CString CImpPath::generateAbsolutePath(const CString& strBasePath, const CString& strPath)
{
    return PathText::combine(strBasePath, strPath);
}

CString PlatformImp::getCurrentFolder()
{
    const DWORD uiSize = GetCurrentDirectoryW(0, nullptr);
    if (uiSize == 0)
        return CString();
    std::vector<wchar_t> buffer(uiSize + 1, L'\0');
    if (GetCurrentDirectoryW(static_cast<DWORD>(buffer.size()), buffer.data()) == 0)
        return CString();
    return withSlashes(buffer.data());
}

} // namespace Trell

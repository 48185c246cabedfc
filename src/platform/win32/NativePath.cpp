#include <platform/win32/NativePath.h>

#include <platform/win32/WideText.h>
#include <text/CString.h>

namespace Trell {
namespace NativePath {

std::wstring toNative(const CString& strPath)
{
    if (strPath.length() == 0)
        return std::wstring();
    std::wstring strNative(WideText::toWide(strPath.buffer()), strPath.length());
    for (wchar_t& ch : strNative) {
        if (ch == L'/')
            ch = L'\\';
    }
    return strNative;
}

void fromNative(const wchar_t* pszPath, CString& strOut)
{
    strOut = CString(WideText::fromWide(pszPath ? pszPath : L""));
    strOut.replace(u'\\', u'/');
}

} // namespace NativePath
} // namespace Trell

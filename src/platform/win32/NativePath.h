#pragma once

#include <string>

namespace Trell {

class CString;

namespace NativePath {

// Library paths use "/" or "\\"; the wide Windows API (and above all the
// shell path helpers) wants "\\". Empty for an empty path.
std::wstring toNative(const CString& strPath);
// A wide path of the system as library text, with "/" separators.
void fromNative(const wchar_t* pszPath, CString& strOut);

} // namespace NativePath
} // namespace Trell

#pragma once

#include <string>

namespace Trell {

class CString;

namespace NativePath {

// Library paths are UTF-16 text with "/" or "\\" separators; POSIX file names
// are UTF-8 bytes with "/". Backslashes become "/" on the way in, so paths
// written on Windows (a\\b.xml) name the same files here.
std::string toNative(const CString& strPath);
// The UTF-8 bytes of a file name as library text.
void fromNative(const char* pszName, CString& strOut);

} // namespace NativePath
} // namespace Trell

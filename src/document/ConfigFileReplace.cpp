#include <document/ConfigFileReplace.h>

#include <text/CString.h>
#include <text/CStringConverter.h>

#include <cstdio>
#include <string>

namespace Trell {
namespace ConfigFileReplace {

namespace {

// File names are library text; the C library takes them as UTF-8, with
// "\\" accepted as a separator like everywhere else in the library.
std::string toNative(const CString& strPath)
{
    const unsigned int uiLength = strPath.length();
    if (uiLength == 0)
        return std::string();
    std::string strBuffer(static_cast<std::size_t>(uiLength) * 3 + 1, '\0');
    unsigned int uiWritten = 0;
    CStringConverter::convertToUTF8(strPath.buffer(), reinterpret_cast<unsigned char*>(&strBuffer[0]),
                                    static_cast<unsigned int>(strBuffer.size()), &uiWritten);
    strBuffer.resize(uiWritten);
#ifndef _WIN32
    for (char& ch : strBuffer) {
        if (ch == '\\')
            ch = '/';
    }
#endif
    return strBuffer;
}

} // namespace

bool replaceFile(const CString& strFrom, const CString& strTo)
{
    const std::string strNativeFrom = toNative(strFrom);
    const std::string strNativeTo = toNative(strTo);
    if (strNativeFrom.empty() || strNativeTo.empty())
        return false;
    // std::rename replaces an existing target atomically on POSIX.
    return std::rename(strNativeFrom.c_str(), strNativeTo.c_str()) == 0;
}

} // namespace ConfigFileReplace
} // namespace Trell

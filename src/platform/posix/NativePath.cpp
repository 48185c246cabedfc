#include <platform/posix/NativePath.h>

#include <text/CString.h>
#include <text/CStringConverter.h>

namespace Trell {
namespace NativePath {

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
    for (char& ch : strBuffer) {
        if (ch == '\\')
            ch = '/';
    }
    return strBuffer;
}

void fromNative(const char* pszName, CString& strOut)
{
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(pszName), strOut);
}

} // namespace NativePath
} // namespace Trell

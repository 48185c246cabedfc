#include <platform/posix/CImpPath.h>

#include <platform/PathText.h>
#include <platform/PlatformImp.h>
#include <platform/posix/NativePath.h>
#include <text/CString.h>

#include <climits>
#include <string>
#include <vector>

#include <unistd.h>

namespace Trell {

bool CImpPath::isAbsolute(const CString& strPath)
{
    return PathText::isAbsolute(strPath);
}

CString CImpPath::getApplicationFolder()
{
    // The executable's own path; Windows' 260-character limit does not
    // apply here.
    std::vector<char> buffer(PATH_MAX + 1, '\0');
    ssize_t iLength = readlink("/proc/self/exe", buffer.data(), PATH_MAX);
    if (iLength <= 0)
        return CString();
    buffer[static_cast<std::size_t>(iLength)] = '\0';
    std::string strExe(buffer.data());
    std::size_t uiSlash = strExe.find_last_of('/');
    if (uiSlash == std::string::npos)
        return CString();
    // The root folder keeps its "/", which is the whole path.
    strExe.resize(uiSlash == 0 ? 1 : uiSlash);
    CString strFolder;
    NativePath::fromNative(strExe.c_str(), strFolder);
    return strFolder;
}

CString CImpPath::generateAbsolutePath(const CString& strBasePath, const CString& strPath)
{
    return PathText::combine(strBasePath, strPath);
}

CString CImpPath::generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath)
{
    // Folder names compare with case, as POSIX file systems do.
    return PathText::relative(strBasePath, bBaseIsFolder, strPath, false);
}

CString PlatformImp::getCurrentFolder()
{
    std::vector<char> buffer(PATH_MAX + 1, '\0');
    if (!getcwd(buffer.data(), buffer.size()))
        return CString();
    CString strFolder;
    NativePath::fromNative(buffer.data(), strFolder);
    return strFolder;
}

} // namespace Trell

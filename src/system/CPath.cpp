#include <system/CPath.h>

#include <platform/IPath.h>
#include <platform/PlatformImp.h>

#include <new>

namespace Trell {

namespace {

bool isSeparator(char16_t ch)
{
    return ch == u'/' || ch == u'\\';
}

// Null for a count of 0, so that empty results are all of one kind.
CString makeString(const char16_t* pszText, unsigned int uiCount)
{
    return uiCount ? CString(pszText, uiCount) : CString();
}

// Index of the last separator, or -1.
int lastSeparator(const CString& strPath)
{
    const char16_t* p = strPath.buffer();
    for (int i = static_cast<int>(strPath.length()) - 1; i >= 0; --i) {
        if (isSeparator(p[i]))
            return i;
    }
    return -1;
}

// Index of the extension dot (the last "." when it follows the last
// separator), or -1.
int extensionDot(const CString& strPath)
{
    const int iDot = strPath.lastIndexOf(u'.');
    return iDot > lastSeparator(strPath) ? iDot : -1;
}

// The two folders live in static storage that is never destroyed, so no
// exit-time destructor runs after the memory manager is gone; clearData
// releases their text.
CString& folderSlot(int iSlot)
{
    alignas(CString) static unsigned char s_storage[2][sizeof(CString)];
    static CString* s_pFolders[2] = {new (s_storage[0]) CString(), new (s_storage[1]) CString()};
    return *s_pFolders[iSlot];
}

CString& applicationFolder()
{
    return folderSlot(0);
}

CString& projectFolder()
{
    return folderSlot(1);
}

} // namespace

CPath::CPath()
{}

CPath::CPath(const CPath&)
{}

CPath::~CPath()
{}

void CPath::setApplicationFolder(const CString& strPath)
{
    applicationFolder() = strPath;
}

CString CPath::getApplicationFolder()
{
    CString& strFolder = applicationFolder();
    if (strFolder.length() == 0 || strFolder.buffer()[0] == u'.') {
        IPath* pPath = PlatformImp::createPath();
        if (pPath) {
            strFolder = pPath->getApplicationFolder();
            delete pPath;
        }
    }
    return strFolder;
}

void CPath::setProjectFolder(const CString& strPath)
{
    projectFolder() = strPath;
}

CString CPath::getProjectFolder()
{
    return projectFolder();
}

void CPath::clearData()
{
    applicationFolder().empty();
    projectFolder().empty();
}

bool CPath::hasTrailingPathDelimiter(const CString& strPath)
{
    const unsigned int uiLength = strPath.length();
    return uiLength > 0 && isSeparator(strPath.buffer()[uiLength - 1]);
}

CString CPath::addTrailingPathDelimiter(const CString& strPath)
{
    if (hasTrailingPathDelimiter(strPath))
        return strPath;
    CString strResult(strPath);
    strResult.append(u"/", 1);
    return strResult;
}

CString CPath::deleteTrailingPathDelimiter(const CString& strPath)
{
    if (!hasTrailingPathDelimiter(strPath))
        return makeString(strPath.buffer(), strPath.length());
    return makeString(strPath.buffer(), strPath.length() - 1);
}

CString CPath::getFileFolder(const CString& strPath)
{
    const int iSeparator = lastSeparator(strPath);
    return iSeparator < 0 ? CString() : makeString(strPath.buffer(), static_cast<unsigned int>(iSeparator) + 1);
}

CString CPath::getFileFolderNoLastSeparator(const CString& strPath)
{
    const int iSeparator = lastSeparator(strPath);
    return iSeparator < 0 ? CString() : makeString(strPath.buffer(), static_cast<unsigned int>(iSeparator));
}

CString CPath::getFileName(const CString& strPath)
{
    const unsigned int uiStart = static_cast<unsigned int>(lastSeparator(strPath) + 1);
    return makeString(strPath.buffer() + (strPath.length() ? uiStart : 0), strPath.length() - uiStart);
}

CString CPath::getFileTitle(const CString& strPath)
{
    const unsigned int uiStart = static_cast<unsigned int>(lastSeparator(strPath) + 1);
    const int iDot = extensionDot(strPath);
    const unsigned int uiEnd = iDot < 0 ? strPath.length() : static_cast<unsigned int>(iDot);
    return makeString(strPath.buffer() + (strPath.length() ? uiStart : 0), uiEnd - uiStart);
}

CString CPath::getFileExtern(const CString& strPath)
{
    const int iDot = extensionDot(strPath);
    if (iDot < 0)
        return CString();
    const unsigned int uiStart = static_cast<unsigned int>(iDot) + 1;
    return makeString(strPath.buffer() + uiStart, strPath.length() - uiStart);
}

unsigned int CPath::getFileNameStartIndex(const CString& strPath)
{
    return static_cast<unsigned int>(lastSeparator(strPath) + 1);
}

unsigned int CPath::getFileExternStartIndex(const CString& strPath)
{
    return static_cast<unsigned int>(strPath.lastIndexOf(u'.') + 1);
}

CString CPath::changeFileExtern(const CString& strPath, const CString& strExtern)
{
    if (strPath.length() == 0)
        return CString();
    const int iDot = extensionDot(strPath);
    if (iDot < 0) {
        CString strResult(strPath);
        if (strExtern.length() > 0) {
            strResult.append(u".", 1);
            strResult.append(strExtern);
        }
        return strResult;
    }
    if (strExtern.length() == 0)
        return makeString(strPath.buffer(), static_cast<unsigned int>(iDot));
    CString strResult = makeString(strPath.buffer(), static_cast<unsigned int>(iDot) + 1);
    strResult.append(strExtern);
    return strResult;
}

CString CPath::changeFileTitle(const CString& strPath, const CString& strTitle)
{
    if (strPath.length() == 0)
        return CString();
    CString strResult = getFileFolder(strPath);
    strResult.append(strTitle);
    const int iDot = extensionDot(strPath);
    if (iDot >= 0)
        strResult.append(strPath.buffer() + iDot, strPath.length() - static_cast<unsigned int>(iDot));
    return strResult.length() ? strResult : CString();
}

CString CPath::generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath)
{
    if (strBasePath.length() == 0 || strPath.length() == 0)
        return CString();
    IPath* pPath = PlatformImp::createPath();
    if (!pPath)
        return CString();
    CString strResult = pPath->generateRelativePath(strBasePath, bBaseIsFolder, strPath);
    delete pPath;
    return strResult;
}

CString CPath::generateAbsolutePath(const CString& strBasePath, const CString& strPath)
{
    if (strBasePath.length() == 0 || strPath.length() == 0)
        return CString();
    IPath* pPath = PlatformImp::createPath();
    if (!pPath)
        return CString();
    CString strResult = pPath->generateAbsolutePath(strBasePath, strPath);
    delete pPath;
    return strResult;
}

} // namespace Trell

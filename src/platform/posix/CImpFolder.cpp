#include <platform/posix/CImpFolder.h>

#include <platform/PlatformImp.h>
#include <platform/posix/NativePath.h>

#include <cerrno>
#include <string>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Trell {

namespace {

bool exists(const std::string& strNative)
{
    struct stat st;
    return stat(strNative.c_str(), &st) == 0;
}

// A trailing "/" would make lstat look through a link.
std::string withoutTrailingSlash(std::string strNative)
{
    while (strNative.size() > 1 && strNative.back() == '/')
        strNative.pop_back();
    return strNative;
}

bool isLinkNative(const std::string& strNative)
{
    struct stat st;
    return !strNative.empty() && lstat(withoutTrailingSlash(strNative).c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

bool makeFolder(const std::string& strNative)
{
    return mkdir(strNative.c_str(), 0777) == 0 || (errno == EEXIST && exists(strNative));
}

} // namespace

bool CImpFolder::createFolder(const CString& strPath)
{
    // Backslashes are already "/" in the native form, so one walk over "/"
    // covers both separators.
    const std::string strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return false;
    if (exists(strNative))
        return true;
    for (std::size_t uiPos = strNative.find('/', 1); uiPos != std::string::npos;
         uiPos = strNative.find('/', uiPos + 1)) {
        if (uiPos + 1 == strNative.size())
            break; // a trailing separator: the full path comes next
        if (strNative[uiPos - 1] == '/')
            continue; // repeated separators name no new folder
        const std::string strPrefix = strNative.substr(0, uiPos);
        if (!exists(strPrefix) && !makeFolder(strPrefix))
            return false;
    }
    return makeFolder(strNative);
}

bool CImpFolder::deleteFolder(const CString& strPath)
{
    const std::string strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return false;
    // rmdir refuses a link; a link to a folder is removed as the link itself.
    if (isLinkNative(strNative))
        return unlink(withoutTrailingSlash(strNative).c_str()) == 0;
    return rmdir(strNative.c_str()) == 0;
}

bool CImpFolder::listEntries(const CString& strPath, CObjectArray<tagEntry>& aryEntries)
{
    std::string strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return false;
    DIR* pDir = opendir(strNative.c_str());
    if (!pDir)
        return false;
    // Entry paths are folder + "/" + name, written with "/" only.
    CString strFolder;
    NativePath::fromNative(strNative.c_str(), strFolder);
    if (strNative.back() != '/')
        strNative += '/';

    while (dirent* pEntry = readdir(pDir)) {
        const char* pszName = pEntry->d_name;
        if (pszName[0] == '.' && (pszName[1] == '\0' || (pszName[1] == '.' && pszName[2] == '\0')))
            continue;
        unsigned char ucType = pEntry->d_type;
        if (ucType == DT_UNKNOWN) {
            struct stat st;
            if (lstat((strNative + pszName).c_str(), &st) != 0)
                continue; // vanished while being listed
            ucType = S_ISLNK(st.st_mode)                            ? DT_LNK
                     : S_ISDIR(st.st_mode)                          ? DT_DIR
                     : (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) ? DT_CHR
                                                                    : DT_REG;
        }
        tagEntry* pItem = new tagEntry;
        if (!pItem)
            break;
        pItem->isLink = ucType == DT_LNK;
        pItem->isHidden = pszName[0] == '.' || ucType == DT_CHR || ucType == DT_BLK;
        if (pItem->isLink) {
            // Followed only to tell what it looks like; a dangling link is a file.
            struct stat st;
            pItem->isFolder = stat((strNative + pszName).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
        } else {
            pItem->isFolder = ucType == DT_DIR;
        }
        NativePath::fromNative(pszName, pItem->name);
        pItem->path = strFolder;
        if (!strFolder.length() || strFolder.buffer()[strFolder.length() - 1] != u'/')
            pItem->path.append(u"/");
        pItem->path.append(pItem->name.buffer() ? pItem->name.buffer() : u"");
        if (!aryEntries.add(pItem))
            delete pItem;
    }
    closedir(pDir);
    return true;
}

bool PlatformImp::isLink(const CString& strPath)
{
    return isLinkNative(NativePath::toNative(strPath));
}

} // namespace Trell

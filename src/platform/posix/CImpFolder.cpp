#include <platform/posix/CImpFolder.h>

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
    return !strNative.empty() && rmdir(strNative.c_str()) == 0;
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
        if (pszName[0] == '.')
            continue; // hidden, and "." and ".."
        bool bFolder = false;
        if (pEntry->d_type == DT_DIR) {
            bFolder = true;
        } else if (pEntry->d_type == DT_REG) {
            bFolder = false;
        } else if (pEntry->d_type == DT_CHR || pEntry->d_type == DT_BLK) {
            continue;
        } else {
            struct stat st;
            if (stat((strNative + pszName).c_str(), &st) != 0)
                continue; // vanished, or a dangling link
            if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode))
                continue;
            bFolder = S_ISDIR(st.st_mode);
        }
        tagEntry* pItem = new tagEntry;
        if (!pItem)
            break;
        NativePath::fromNative(pszName, pItem->name);
        pItem->path = strFolder;
        if (!strFolder.length() || strFolder.buffer()[strFolder.length() - 1] != u'/')
            pItem->path.append(u"/");
        pItem->path.append(pItem->name.buffer() ? pItem->name.buffer() : u"");
        pItem->isFolder = bFolder;
        if (!aryEntries.add(pItem))
            delete pItem;
    }
    closedir(pDir);
    return true;
}

} // namespace Trell

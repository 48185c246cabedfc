#include <system/CFolder.h>

#include <platform/PlatformImp.h>
#include <system/CFile.h>
#include <system/CPath.h>

namespace Trell {

namespace {

IFolder* createImp()
{
    return PlatformImp::createFolder();
}

// Lists strPath into aryEntries through a temporary platform object; hidden
// entries only with bHidden.
bool listFolder(const CString& strPath, CObjectArray<IFolder::tagEntry>& aryEntries, bool bHidden)
{
    if (strPath.length() == 0)
        return false;
    IFolder* pFolder = createImp();
    if (!pFolder)
        return false;
    const bool bOk = pFolder->listEntries(strPath, aryEntries);
    delete pFolder;
    if (bOk && !bHidden) {
        for (unsigned int i = aryEntries.getCount(); i-- > 0;) {
            if (aryEntries[i]->isHidden)
                aryEntries.removeAt(i);
        }
    }
    return bOk;
}

bool removeFolder(const CString& strPath)
{
    IFolder* pFolder = createImp();
    if (!pFolder)
        return false;
    const bool bOk = pFolder->deleteFolder(strPath);
    delete pFolder;
    return bOk;
}

// A link is removed as itself, never through what it leads to.
bool removeLink(const IFolder::tagEntry& entry)
{
    return entry.isFolder ? removeFolder(entry.path) : CFile::deleteFile(entry.path);
}

// Hidden entries go too: the caller asked for the whole folder, and a folder
// that still holds one cannot be removed.
bool deleteTree(const CString& strPath)
{
    CObjectArray<IFolder::tagEntry> aryEntries(true);
    if (!listFolder(strPath, aryEntries, true))
        return false;
    for (unsigned int i = 0; i < aryEntries.getCount(); ++i) {
        const IFolder::tagEntry* pEntry = aryEntries[i];
        if (pEntry->isLink) {
            if (!removeLink(*pEntry))
                return false;
        } else if (pEntry->isFolder) {
            if (!deleteTree(pEntry->path))
                return false;
        } else if (CFile::isExist(pEntry->path) && !CFile::deleteFile(pEntry->path)) {
            return false;
        }
    }
    return removeFolder(strPath);
}

CString childPath(const CString& strFolder, const CString& strName)
{
    CString strPath = CPath::addTrailingPathDelimiter(strFolder);
    strPath.append(strName);
    return strPath;
}

// The extension as given by callers, without a leading dot.
CString bareExtern(const CString& strExtern)
{
    if (strExtern.length() > 0 && strExtern.buffer()[0] == u'.')
        return strExtern.subString(1, 0);
    return strExtern;
}

// Calls visit(entry) for every visible file of strFolder in listing order,
// and descends into each sub-folder where it is listed when bRecursive is
// set. Links to folders are not descended, so a link cycle cannot trap it.
template <class Visit>
void forEachFile(const CString& strFolder, bool bRecursive, const Visit& visit)
{
    CObjectArray<IFolder::tagEntry> aryEntries(true);
    if (!listFolder(strFolder, aryEntries, false))
        return;
    for (unsigned int i = 0; i < aryEntries.getCount(); ++i) {
        const IFolder::tagEntry* pEntry = aryEntries[i];
        if (!pEntry->isFolder)
            visit(*pEntry);
        else if (bRecursive && !pEntry->isLink)
            forEachFile(pEntry->path, true, visit);
    }
}

} // namespace

CFolder::CFolder() : m_aryEntries(true)
{}

// Copies start without entries.
CFolder::CFolder(const CFolder& other) : CObject(other), m_aryEntries(true)
{}

CFolder& CFolder::operator=(const CFolder&)
{
    return *this;
}

CFolder::~CFolder()
{
    close();
}

bool CFolder::createFolder(const CString& strPath)
{
    if (strPath.length() == 0)
        return false;
    IFolder* pFolder = createImp();
    if (!pFolder)
        return false;
    const bool bOk = pFolder->createFolder(strPath);
    delete pFolder;
    return bOk;
}

bool CFolder::deleteFolder(const CString& strPath)
{
    if (strPath.length() == 0)
        return false;
    if (PlatformImp::isLink(strPath))
        return removeFolder(strPath);
    return deleteTree(strPath);
}

bool CFolder::copyFilesTo(const CString& strFrom, const CString& strTo, bool bOverwrite, bool bRecursive)
{
    if (strTo.length() == 0)
        return false;
    CObjectArray<IFolder::tagEntry> aryEntries(true);
    if (!listFolder(strFrom, aryEntries, false))
        return false;
    if (!createFolder(strTo))
        return false;
    bool bOk = true;
    for (unsigned int i = 0; i < aryEntries.getCount(); ++i) {
        const IFolder::tagEntry* pEntry = aryEntries[i];
        const CString strTarget = childPath(strTo, pEntry->name);
        if (pEntry->isFolder) {
            // A link to a folder is not followed: a cycle would never end.
            if (bRecursive && !pEntry->isLink && !copyFilesTo(pEntry->path, strTarget, bOverwrite, true))
                bOk = false;
            continue;
        }
        if (!bOverwrite && CFile::isExist(strTarget))
            continue;
        if (!CFile::copyFile(pEntry->path, strTarget, bOverwrite))
            bOk = false;
    }
    return bOk;
}

void CFolder::findFilesByExt(const CString& strFolder, const CString& strExtern, CDataList<CString>& lstOut,
                             bool bRecursive)
{
    CDataArray<CString> aryExterns;
    if (!aryExterns.add(strExtern))
        return;
    findFilesByExt(strFolder, aryExterns, lstOut, bRecursive);
}

void CFolder::findFilesByExt(const CString& strFolder, const CDataArray<CString>& aryExterns,
                             CDataList<CString>& lstOut, bool bRecursive)
{
    forEachFile(strFolder, bRecursive, [&](const IFolder::tagEntry& entry) {
        const CString strExtern = CPath::getFileExtern(entry.name);
        for (unsigned int k = 0; k < aryExterns.getCount(); ++k) {
            if (strExtern.compareIC(bareExtern(aryExterns[k])) == 0) {
                lstOut.add(entry.path);
                break;
            }
        }
    });
}

void CFolder::findFilesByFileTile(const CString& strFolder, const CString& strTitle, CDataList<CString>& lstOut,
                                  bool bMatchCase, bool bRecursive)
{
    forEachFile(strFolder, bRecursive, [&](const IFolder::tagEntry& entry) {
        const CString strFileTitle = CPath::getFileTitle(entry.name);
        const int iCompare = bMatchCase ? strFileTitle.compare(strTitle) : strFileTitle.compareIC(strTitle);
        if (iCompare == 0)
            lstOut.add(entry.path);
    });
}

bool CFolder::open(const CString& strPath)
{
    close();
    return listFolder(strPath, m_aryEntries, false);
}

unsigned int CFolder::getEntryCount() const
{
    return m_aryEntries.getCount();
}

const IFolder::tagEntry* CFolder::getEntry(unsigned int uiIndex) const
{
    return uiIndex < m_aryEntries.getCount() ? m_aryEntries[uiIndex] : nullptr;
}

void CFolder::close()
{
    m_aryEntries.clear();
}

} // namespace Trell

#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectArray.h>
#include <foundation/Export.h>
#include <platform/IFolder.h>
#include <text/CString.h>

namespace Trell {

// Folder listing, creation, deletion, copying and searching. Hidden entries
// (dot-names on POSIX) and devices are never listed, copied or found. A
// symbolic link (or junction) is an entry of its own: a link to a folder is
// listed as a folder, but copies and searches never descend through it (so a
// link cycle cannot trap them) and deleting removes the link, never what it
// leads to. One CFolder is used by one thread at a time.
class ECS_API CFolder : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CFolder")

public:
    CFolder();
    ~CFolder() override;

    // Creates the folder and every missing folder above it; true at once
    // when it exists. False for an empty path.
    static bool createFolder(const CString& strPath);
    // Deletes the folder with everything in it, hidden entries included;
    // links inside are removed as links. When strPath itself is a link, only
    // the link is removed. Stops at the first failure with false; what was
    // removed before it stays removed.
    static bool deleteFolder(const CString& strPath);
    // Copies the files of strFrom into strTo (created when missing). An
    // existing target file is replaced only with bOverwrite, and otherwise
    // left alone without failing; bRecursive copies sub-folders the same
    // way. A link to a file is copied as the file's content; a link to a
    // folder is skipped. False when strFrom cannot be listed or any copy
    // failed (the other copies are still made).
    static bool copyFilesTo(const CString& strFrom, const CString& strTo, bool bOverwrite, bool bRecursive);
    // Searches append in listing order and, with bRecursive, descend into
    // sub-folders but not into links to folders.
    // Appends the paths of files whose extension matches. Extensions are
    // given WITHOUT the dot ("xml", a leading dot is ignored) and compared
    // ignoring case; an empty one matches files without extension.
    static void findFilesByExt(const CString& strFolder, const CString& strExtern, CDataList<CString>& lstOut,
                               bool bRecursive);
    static void findFilesByExt(const CString& strFolder, const CDataArray<CString>& aryExterns,
                               CDataList<CString>& lstOut, bool bRecursive);
    // Appends the paths of files whose title (name without extension)
    // equals strTitle, exactly with bMatchCase, else ignoring case.
    static void findFilesByFileTile(const CString& strFolder, const CString& strTitle, CDataList<CString>& lstOut,
                                    bool bMatchCase, bool bRecursive);

    // Lists the folder's entries, dropping the previous ones. False for an
    // empty path or a folder that cannot be listed.
    bool open(const CString& strPath);
    unsigned int getEntryCount() const;
    // Null when uiIndex is out of range.
    const IFolder::tagEntry* getEntry(unsigned int uiIndex) const;
    // Drops the entries.
    void close();

protected:
    CFolder(const CFolder& other);
    CFolder& operator=(const CFolder& other);

private:
    CObjectArray<IFolder::tagEntry> m_aryEntries;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// Path text rules and the two process-wide folders. Both "/" and "\\" are
// separators on input; paths the library builds use "/". The extension dot
// is the last "." of the text and counts only after the last separator.
// Every rule yields empty text for an empty path.
//
// The folders are set by the host's main thread at start-up and only read
// afterwards; they are not locked.
class ECS_API CPath
{
    TRELL_DECLARE_ALLOCATOR(u"CPath")

public:
    static void setApplicationFolder(const CString& strPath);
    // The stored folder, unless it is empty or starts with "."; then the
    // running executable's folder is stored and returned.
    static CString getApplicationFolder();
    static void setProjectFolder(const CString& strPath);
    static CString getProjectFolder();
    // Empties both folders.
    static void clearData();

    static bool hasTrailingPathDelimiter(const CString& strPath);
    // Appends "/" unless the path ends with a separator ("" becomes "/").
    static CString addTrailingPathDelimiter(const CString& strPath);
    // Removes one trailing separator.
    static CString deleteTrailingPathDelimiter(const CString& strPath);

    // Up to and including the last separator; empty without one.
    static CString getFileFolder(const CString& strPath);
    static CString getFileFolderNoLastSeparator(const CString& strPath);
    // After the last separator (the whole text without one).
    static CString getFileName(const CString& strPath);
    // The file name without its extension.
    static CString getFileTitle(const CString& strPath);
    // The extension without its dot; empty without an extension.
    static CString getFileExtern(const CString& strPath);
    // Index after the last separator (0 without one).
    static unsigned int getFileNameStartIndex(const CString& strPath);
    // Index after the last "." anywhere in the text (0 without one).
    static unsigned int getFileExternStartIndex(const CString& strPath);

    // strExtern has no dot; empty removes the extension with its dot.
    static CString changeFileExtern(const CString& strPath, const CString& strExtern);
    // Folder part, then strTitle, then the old extension if there was one.
    static CString changeFileTitle(const CString& strPath, const CString& strTitle);

    // strPath relative to strBasePath (a folder when bBaseIsFolder, else a
    // file in its folder) when strPath is absolute and shares the base's
    // root; otherwise strPath. Empty if either is empty.
    static CString generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath);
    // A relative strPath combined onto strBasePath with "." and ".."
    // resolved; an absolute strPath as it is. Empty if either is empty.
    static CString generateAbsolutePath(const CString& strBasePath, const CString& strPath);

protected:
    CPath();
    CPath(const CPath& other);
    virtual ~CPath();
};

} // namespace Trell

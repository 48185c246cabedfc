#pragma once

#include <platform/IPath.h>

namespace Trell {

// Path services. The two path generators work on the text alone, the way
// the Windows shell helpers they stand in for do (PathCombine,
// PathRelativePathTo), so Windows-style paths behave the same here:
//  - absolute means: a leading separator ("/x", "//server/share") or a drive
//    ("C:", "C:/x"); everything else is relative;
//  - combining joins with one separator and resolves "." and ".." segments
//    lexically (".." never climbs above a root; in a relative result the
//    leading ".." that cannot be resolved are kept); repeated separators
//    collapse;
//  - a relative path between two absolute ones needs the same root (drive
//    letters compare without case, folder names with case, as POSIX file
//    systems do); it starts with "./" when the target lies below the base
//    and with one "../" per folder to climb otherwise.
// Results use "/" throughout.
class CImpPath : public IPath
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPath")

public:
    CImpPath() {}
    ~CImpPath() override {}

    CString getApplicationFolder() override;
    CString generateRelativePath(const CString& strBasePath, bool bBaseIsFolder,
                                 const CString& strPath) override;
    CString generateAbsolutePath(const CString& strBasePath, const CString& strPath) override;

    // True for the absolute forms listed above.
    static bool isAbsolute(const CString& strPath);
};

} // namespace Trell

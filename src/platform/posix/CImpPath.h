#pragma once

#include <platform/IPath.h>

namespace Trell {

// Path services. The two path generators work on the text alone
// (PathText.h), so Windows-style paths behave the same here; folder names
// compare with case, as POSIX file systems do. Results use "/" throughout.
class CImpPath : public IPath
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPath")

public:
    CImpPath() {}
    ~CImpPath() override {}

    CString getApplicationFolder() override;
    CString generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath) override;
    CString generateAbsolutePath(const CString& strBasePath, const CString& strPath) override;

    // True for the absolute forms listed above.
    static bool isAbsolute(const CString& strPath);
};

} // namespace Trell

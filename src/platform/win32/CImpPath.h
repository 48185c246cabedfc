#pragma once

#include <platform/IPath.h>

namespace Trell {

// Path services over the shell's path helpers (PathIsRelativeW,
// PathCombineW, PathRelativePathToW), which work on the text alone. Inputs
// get "\\" separators for them; results come back with "/".
class CImpPath final : public IPath
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPath")

public:
    CImpPath() {}
    ~CImpPath() override {}

    CString getApplicationFolder() override;
    CString generateRelativePath(const CString& strBasePath, bool bBaseIsFolder,
                                 const CString& strPath) override;
    CString generateAbsolutePath(const CString& strBasePath, const CString& strPath) override;
};

} // namespace Trell

#pragma once

#include <platform/IPath.h>

namespace Trell {

// Path services. The executable's folder comes from GetModuleFileNameW; the
// two generators follow the rules of the shell's PathCombineW and
// PathRelativePathToW, computed on the text by PathText.h so that every
// platform (and wine, whose shell helpers differ) gives the same results.
// Folder names compare without case. Results use "/".
class CImpPath final : public IPath
{
    TRELL_DECLARE_ALLOCATOR(u"CImpPath")

public:
    CImpPath() {}
    ~CImpPath() override {}

    CString getApplicationFolder() override;
    CString generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath) override;
    CString generateAbsolutePath(const CString& strBasePath, const CString& strPath) override;
};

} // namespace Trell

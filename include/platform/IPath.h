#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Platform path services behind CPath. Both "/" and "\\" are accepted on
// input; every result uses "/".
class ECS_API IPath
{
    TRELL_DECLARE_ALLOCATOR(u"IPath")

public:
    virtual ~IPath() {}

    // Folder of the running executable, without a trailing separator.
    virtual CString getApplicationFolder() = 0;
    // Relative path from strBasePath (a folder when bBaseIsFolder, else a
    // file whose folder counts) to the absolute strPath; strPath unchanged
    // when it is relative or no relative form exists.
    virtual CString generateRelativePath(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath) = 0;
    // strPath combined onto strBasePath and normalised when strPath is
    // relative; strPath itself when it is absolute.
    virtual CString generateAbsolutePath(const CString& strBasePath, const CString& strPath) = 0;
};

} // namespace Trell

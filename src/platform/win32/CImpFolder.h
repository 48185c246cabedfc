#pragma once

#include <platform/IFolder.h>

namespace Trell {

// Folder services over CreateDirectoryW, RemoveDirectoryW and
// FindFirstFileW/FindNextFileW. Hidden entries are those with the hidden or
// system attribute, devices, and dot-names (as on every platform of the
// library); reparse points (symbolic links, junctions) are reported as links.
class CImpFolder final : public IFolder
{
    TRELL_DECLARE_ALLOCATOR(u"CImpFolder")

public:
    CImpFolder() {}
    ~CImpFolder() override {}

    bool createFolder(const CString& strPath) override;
    bool deleteFolder(const CString& strPath) override;
    bool listEntries(const CString& strPath, CObjectArray<tagEntry>& aryEntries) override;
};

} // namespace Trell

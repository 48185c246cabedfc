#pragma once

#include <platform/IFolder.h>

namespace Trell {

// Folder services over mkdir/rmdir/opendir. Hidden entries are the
// dot-names and devices; a symbolic link is reported as a link (followed only
// to tell whether it leads to a folder), and entries that vanish while being
// listed are left out.
class CImpFolder : public IFolder
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

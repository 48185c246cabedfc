#pragma once

#include <platform/IFolder.h>

namespace Trell {

// Folder services over mkdir/rmdir/opendir. Hidden entries are the
// dot-names; symbolic links are followed to decide between file and folder,
// and entries that vanish while being listed are left out.
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

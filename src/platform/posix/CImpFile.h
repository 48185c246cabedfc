#pragma once

#include <platform/IFile.h>

namespace Trell {

// File services over stat/chmod/rename/unlink. Read-only means: no write
// bit set at all, or the calling user may not write it. setWritable adds the
// owner's write bit. Times come from the file's modification time.
class CImpFile : public IFile
{
    TRELL_DECLARE_ALLOCATOR(u"CImpFile")

public:
    CImpFile() {}
    ~CImpFile() override {}

    bool isExist(const CString& strPath) override;
    EFileType getFileType(const CString& strPath) override;
    bool isReadOnly(const CString& strPath) override;
    bool setWritable(const CString& strPath) override;
    unsigned long long getLastModifyTime(const CString& strPath) override;
    bool moveFile(const CString& strFrom, const CString& strTo) override;
    bool deleteFile(const CString& strPath) override;
    bool copyFile(const CString& strFrom, const CString& strTo, bool bFailIfExists) override;
};

} // namespace Trell

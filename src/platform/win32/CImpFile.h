#pragma once

#include <platform/IFile.h>

namespace Trell {

// File services over the file attributes (read-only is the attribute bit),
// CreateFileW/GetFileTime, MoveFileExW, DeleteFileW and CopyFileW.
class CImpFile final : public IFile
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

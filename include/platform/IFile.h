#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Platform file services behind CFile's static operations.
class ECS_API IFile
{
    TRELL_DECLARE_ALLOCATOR(u"IFile")

public:
    enum EFileType
    {
        FILE_TYPE_NONE = 0, // missing or unreadable attributes
        FILE_TYPE_FILE = 1, // anything that is neither a folder nor a device
        FILE_TYPE_FOLDER = 2,
        FILE_TYPE_DEVICE = 3,
    };

    virtual ~IFile() {}

    virtual bool isExist(const CString& strPath) = 0;
    virtual EFileType getFileType(const CString& strPath) = 0;
    // True when the file exists and cannot be written.
    virtual bool isReadOnly(const CString& strPath) = 0;
    // Makes an existing file writable by its owner.
    virtual bool setWritable(const CString& strPath) = 0;
    // Last write time in 100-nanosecond units since 1601-01-01 (UTC); 0 when
    // the file cannot be opened.
    virtual unsigned long long getLastModifyTime(const CString& strPath) = 0;
    virtual bool moveFile(const CString& strFrom, const CString& strTo) = 0;
    virtual bool deleteFile(const CString& strPath) = 0;
    // Copies content, permissions and modification time; with
    // bFailIfExists an existing target makes it fail.
    virtual bool copyFile(const CString& strFrom, const CString& strTo, bool bFailIfExists) = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// A thin file over the C runtime's stream files, plus static file
// operations. File names are library text; on POSIX they are stored as
// UTF-8. One CFile is used by one thread at a time.
class ECS_API CFile : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CFile")

public:
    // The C runtime's seek origins.
    enum ESeekType
    {
        SEEK_TYPE_BEGIN = 0,
        SEEK_TYPE_CURRENT = 1,
        SEEK_TYPE_END = 2,
    };

    CFile();
    ~CFile() override;

    static bool isExist(const CString& strPath);
    // For a missing path: whether it has an extension. Otherwise true
    // unless it is a folder or a device.
    static bool isFile(const CString& strPath);
    // Exists and cannot be written (no write permission bit, or none for
    // the calling user).
    static bool isReadOnly(const CString& strPath);
    // True for a missing or writable file; otherwise gives the owner write
    // permission.
    static bool setWritable(const CString& strPath);
    // Last write time in 100-nanosecond units since 1601-01-01 UTC, on every
    // platform; 0 when the file cannot be opened.
    static unsigned long long getLastModifyTime(const CString& strPath);
    // False when the names are equal ignoring case or strTo exists.
    static bool renameFile(const CString& strFrom, const CString& strTo);
    static bool deleteFile(const CString& strPath);
    // False when the names are equal ignoring case, or strTo exists and
    // bOverwrite is false. A missing target folder is created.
    static bool copyFile(const CString& strFrom, const CString& strTo, bool bOverwrite);

    // bRead opens "rb" (the file must exist); otherwise the folder is
    // created and the file opened "wb".
    bool open(const CString& strPath, bool bRead);
    // A mode without "w" or "a" reads (the file must exist, else false
    // without a message); "w" or "a" first create the folder. A stream that
    // cannot be opened logs a warning.
    bool open(const CString& strPath, const char16_t* pszMode);
    void close();
    bool isOpen() const;
    // True when closed or of size 0.
    bool isEmpty();
    // 0 when closed; the position is kept.
    unsigned int getFileSize();
    // False when closed; true for a null buffer or a count of 0; otherwise
    // true only when all uiCount bytes were transferred.
    bool readData(unsigned char* pBuffer, unsigned int uiCount);
    bool writeData(const unsigned char* pBuffer, unsigned int uiCount);
    void seekTo(int iOffset, ESeekType eType);
    void flush();

protected:
    CFile(const CFile& other);
    CFile& operator=(const CFile& other);

private:
    void* m_pStream; // the C stream; null when closed
    bool m_bRead;
};

} // namespace Trell

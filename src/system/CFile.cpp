#include <system/CFile.h>

#include <platform/IFile.h>
#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>
#include <system/CFolder.h>
#include <system/CPath.h>
#include <text/CString.h>

#include <cstdio>

namespace Trell {

namespace {

// Runs one IFile operation on a temporary platform object; fallback when
// the object cannot be created.
template <class TResult, class TCall>
TResult withFile(TResult fallback, TCall call)
{
    IFile* pFile = PlatformImp::createFile();
    if (!pFile)
        return fallback;
    TResult result = call(pFile);
    delete pFile;
    return result;
}

bool modeWrites(const char16_t* pszMode)
{
    for (const char16_t* p = pszMode; *p; ++p) {
        if (*p == u'w' || *p == u'a')
            return true;
    }
    return false;
}

void createParentFolder(const CString& strPath)
{
    const CString strFolder = CPath::getFileFolderNoLastSeparator(strPath);
    if (strFolder.length() > 0)
        CFolder::createFolder(strFolder);
}

std::FILE* stream(void* p)
{
    return static_cast<std::FILE*>(p);
}

} // namespace

CFile::CFile() : m_pStream(nullptr), m_bRead(false)
{}

// Copies do not share the stream: a copy starts closed.
CFile::CFile(const CFile& other) : CObject(other), m_pStream(nullptr), m_bRead(false)
{}

CFile& CFile::operator=(const CFile&)
{
    return *this;
}

CFile::~CFile()
{
    close();
}

bool CFile::isExist(const CString& strPath)
{
    if (strPath.length() == 0)
        return false;
    return withFile(false, [&](IFile* p) { return p->isExist(strPath); });
}

bool CFile::isFile(const CString& strPath)
{
    if (strPath.length() == 0)
        return false;
    const IFile::EFileType eType = withFile(IFile::FILE_TYPE_NONE, [&](IFile* p) { return p->getFileType(strPath); });
    if (eType == IFile::FILE_TYPE_NONE)
        return CPath::getFileExtern(strPath).length() > 0;
    return eType == IFile::FILE_TYPE_FILE;
}

bool CFile::isReadOnly(const CString& strPath)
{
    if (strPath.length() == 0)
        return false;
    return withFile(false, [&](IFile* p) { return p->isReadOnly(strPath); });
}

bool CFile::setWritable(const CString& strPath)
{
    if (strPath.length() == 0)
        return true;
    return withFile(false, [&](IFile* p) { return p->setWritable(strPath); });
}

unsigned long long CFile::getLastModifyTime(const CString& strPath)
{
    if (strPath.length() == 0)
        return 0;
    return withFile(0ull, [&](IFile* p) { return p->getLastModifyTime(strPath); });
}

bool CFile::renameFile(const CString& strFrom, const CString& strTo)
{
    if (strFrom.length() == 0 || strTo.length() == 0 || strFrom.compareIC(strTo) == 0)
        return false;
    return withFile(false, [&](IFile* p) { return !p->isExist(strTo) && p->moveFile(strFrom, strTo); });
}

bool CFile::deleteFile(const CString& strPath)
{
    if (strPath.length() == 0)
        return false;
    return withFile(false, [&](IFile* p) { return p->deleteFile(strPath); });
}

bool CFile::copyFile(const CString& strFrom, const CString& strTo, bool bOverwrite)
{
    if (strFrom.length() == 0 || strTo.length() == 0 || strFrom.compareIC(strTo) == 0)
        return false;
    return withFile(false, [&](IFile* p) {
        if (p->isExist(strTo)) {
            if (!bOverwrite)
                return false;
            p->setWritable(strTo);
        } else {
            const CString strFolder = CPath::getFileFolderNoLastSeparator(strTo);
            if (strFolder.length() > 0 && !CFolder::createFolder(strFolder))
                return false;
        }
        return p->copyFile(strFrom, strTo, !bOverwrite);
    });
}

bool CFile::open(const CString& strPath, bool bRead)
{
    return open(strPath, bRead ? u"rb" : u"wb");
}

bool CFile::open(const CString& strPath, const char16_t* pszMode)
{
    if (m_pStream) {
        // Deliberately flushes only a stream that was opened for reading
        // (fclose flushes a written one anyway).
        if (m_bRead)
            std::fflush(stream(m_pStream));
        std::fclose(stream(m_pStream));
        m_pStream = nullptr;
    }
    m_bRead = false;
    if (strPath.length() == 0 || !pszMode)
        return false;
    if (!modeWrites(pszMode)) {
        m_bRead = true;
        if (!isExist(strPath))
            return false;
    } else {
        createParentFolder(strPath);
    }
    m_pStream = PlatformImp::openFileStream(strPath, pszMode);
    if (!m_pStream) {
        PlatformLog::logWarning(u"Maybe administrator or root authority is required to run this program.");
        return false;
    }
    return true;
}

void CFile::close()
{
    if (m_pStream) {
        std::fclose(stream(m_pStream));
        m_pStream = nullptr;
    }
}

bool CFile::isOpen() const
{
    return m_pStream != nullptr;
}

bool CFile::isEmpty()
{
    return getFileSize() == 0;
}

unsigned int CFile::getFileSize()
{
    if (!m_pStream)
        return 0;
    std::FILE* pStream = stream(m_pStream);
    const long lPosition = std::ftell(pStream);
    if (lPosition < 0 || std::fseek(pStream, 0, SEEK_END) != 0)
        return 0;
    const long lSize = std::ftell(pStream);
    std::fseek(pStream, lPosition, SEEK_SET);
    return lSize < 0 ? 0 : static_cast<unsigned int>(lSize);
}

bool CFile::readData(unsigned char* pBuffer, unsigned int uiCount)
{
    if (!m_pStream)
        return false;
    if (!pBuffer || uiCount == 0)
        return true;
    return std::fread(pBuffer, 1, uiCount, stream(m_pStream)) == uiCount;
}

bool CFile::writeData(const unsigned char* pBuffer, unsigned int uiCount)
{
    if (!m_pStream)
        return false;
    if (!pBuffer || uiCount == 0)
        return true;
    return std::fwrite(pBuffer, 1, uiCount, stream(m_pStream)) == uiCount;
}

void CFile::seekTo(int iOffset, ESeekType eType)
{
    if (!m_pStream)
        return;
    const int iOrigin = eType == SEEK_TYPE_CURRENT ? SEEK_CUR : (eType == SEEK_TYPE_END ? SEEK_END : SEEK_SET);
    std::fseek(stream(m_pStream), iOffset, iOrigin);
}

void CFile::flush()
{
    if (m_pStream)
        std::fflush(stream(m_pStream));
}

} // namespace Trell

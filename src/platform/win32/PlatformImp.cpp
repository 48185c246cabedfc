#include <platform/PlatformImp.h>

#include <platform/IShareMemoryOwner.h>
#include <platform/SocketOwner.h>
#include <platform/win32/CImpFile.h>
#include <platform/win32/CImpFolder.h>
#include <platform/win32/CImpLibraryLoader.h>
#include <platform/win32/CImpPath.h>
#include <platform/win32/CImpShareMemory.h>
#include <platform/win32/CImpSocketClient.h>
#include <platform/win32/CImpSocketServer.h>
#include <platform/win32/CImpSyncObject.h>
#include <platform/win32/CImpSystem.h>
#include <platform/win32/CImpThread.h>
#include <platform/win32/CImpWaitObject.h>
#include <platform/win32/NativePath.h>
#include <text/CString.h>

// The factories that are the same on every platform, for the classes above.
#include <platform/ImpFactories.inl>

#include <windows.h>

#include <string>

namespace Trell {
namespace PlatformImp {

unsigned int getSystemTickCount()
{
    // Deliberately the 32-bit tick: it wraps after 49.7 days, as callers expect.
    return static_cast<unsigned int>(GetTickCount());
}

void getLocalTime(tagLocalTime& time)
{
    SYSTEMTIME local = {};
    GetLocalTime(&local);
    time.usYear = local.wYear;
    time.usMonth = local.wMonth;
    time.usDay = local.wDay;
    time.usHour = local.wHour;
    time.usMinute = local.wMinute;
    time.usSecond = local.wSecond;
    time.usMilliseconds = local.wMilliseconds;
}

std::FILE* openFileStream(const CString& strPath, const char16_t* pszMode)
{
    if (!pszMode)
        return nullptr;
    const std::wstring strNative = NativePath::toNative(strPath);
    if (strNative.empty())
        return nullptr;
    // Modes are plain ASCII ("rb", "w+", "ab"...). "N" keeps the handle from
    // leaking into child processes.
    std::wstring strMode;
    for (const char16_t* p = pszMode; *p; ++p) {
        if (*p >= 0x80)
            return nullptr;
        strMode += static_cast<wchar_t>(*p);
    }
    strMode += L'N';
    // A folder is no file to read.
    const DWORD uiAttributes = GetFileAttributesW(strNative.c_str());
    if (uiAttributes != INVALID_FILE_ATTRIBUTES && (uiAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return nullptr;
    std::FILE* pStream = nullptr;
    if (_wfopen_s(&pStream, strNative.c_str(), strMode.c_str()) != 0)
        return nullptr;
    return pStream;
}

} // namespace PlatformImp
} // namespace Trell

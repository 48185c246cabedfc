#include <platform/win32/CImpLibraryLoader.h>

#include <platform/win32/NativePath.h>
#include <text/CString.h>

#include <windows.h>

namespace Trell {

void* CImpLibraryLoader::loadLibrary(const CString& strPath)
{
    const std::wstring strNative = NativePath::toNative(strPath);
    // An empty name is no module.
    if (strNative.empty())
        return nullptr;
    // No message box for a module that is missing or broken.
    const UINT uiOldMode = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    HMODULE hModule = LoadLibraryExW(strNative.c_str(), nullptr, 0);
    SetErrorMode(uiOldMode);
    return reinterpret_cast<void*>(hModule);
}

void CImpLibraryLoader::unloadLibrary(void* pHandle)
{
    if (pHandle)
        FreeLibrary(static_cast<HMODULE>(pHandle));
}

void* CImpLibraryLoader::getEntryInstance(void* pHandle)
{
    if (!pHandle)
        return nullptr;
    FARPROC pSymbol = GetProcAddress(static_cast<HMODULE>(pHandle), "getInstance");
    if (!pSymbol)
        return nullptr;
    typedef void* (*GetInstanceFunction)();
    // Through a generic function type: FARPROC and the entry differ only in
    // their return type.
    GetInstanceFunction pFunction = reinterpret_cast<GetInstanceFunction>(reinterpret_cast<void (*)()>(pSymbol));
    return pFunction();
}

} // namespace Trell

#include <platform/posix/CImpLibraryLoader.h>

#include <platform/posix/NativePath.h>
#include <text/CString.h>

#include <dlfcn.h>

namespace Trell {

void* CImpLibraryLoader::loadLibrary(const CString& strPath)
{
    std::string strNative = NativePath::toNative(strPath);
    // An empty name would hand back the main program.
    if (strNative.empty())
        return nullptr;
    return dlopen(strNative.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void CImpLibraryLoader::unloadLibrary(void* pHandle)
{
    if (pHandle)
        dlclose(pHandle);
}

void* CImpLibraryLoader::getEntryInstance(void* pHandle)
{
    if (!pHandle)
        return nullptr;
    void* pSymbol = dlsym(pHandle, "getInstance");
    if (!pSymbol)
        return nullptr;
    typedef void* (*GetInstanceFunction)();
    GetInstanceFunction pFunction = reinterpret_cast<GetInstanceFunction>(pSymbol);
    return pFunction();
}

} // namespace Trell

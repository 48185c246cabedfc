#pragma once

#include <platform/ILibraryLoader.h>

namespace Trell {

// dlopen / dlsym("getInstance") / dlclose. Modules are loaded with
// RTLD_NOW | RTLD_LOCAL: unresolved symbols fail the load instead of a later
// call, and a module's symbols do not leak into the next one.
class CImpLibraryLoader : public ILibraryLoader
{
    TRELL_DECLARE_ALLOCATOR(u"CImpLibraryLoader")

public:
    CImpLibraryLoader() {}
    ~CImpLibraryLoader() override {}

    void* loadLibrary(const CString& strPath) override;
    void unloadLibrary(void* pHandle) override;
    void* getEntryInstance(void* pHandle) override;
};

} // namespace Trell

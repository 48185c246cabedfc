#pragma once

#include <platform/ILibraryLoader.h>

namespace Trell {

// LoadLibraryExW / GetProcAddress("getInstance") / FreeLibrary.
class CImpLibraryLoader final : public ILibraryLoader
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

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Platform module loader behind CLibraryLoader. A module handle is opaque;
// null means "not loaded".
class ECS_API ILibraryLoader
{
    TRELL_DECLARE_ALLOCATOR(u"ILibraryLoader")

public:
    virtual ~ILibraryLoader() {}

    // Loads the module at strPath; null on failure.
    virtual void* loadLibrary(const CString& strPath) = 0;
    virtual void unloadLibrary(void* pHandle) = 0;
    // Calls the module's exported "getInstance" (no arguments) and returns
    // its result; null when the module does not export it.
    virtual void* getEntryInstance(void* pHandle) = 0;
};

} // namespace Trell

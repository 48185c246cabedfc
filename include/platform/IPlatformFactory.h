#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CSurface;
class ISurface;

// Implemented by the host: creates the platform surface object for a surface
// descriptor. Registered with CPlatformFactory, which never owns it.
class ECS_API IPlatformFactory
{
    TRELL_DECLARE_ALLOCATOR(u"IPlatformFactory")

public:
    virtual ~IPlatformFactory() {}

    virtual ISurface* createSurface(CSurface* pSurface) = 0;
};

} // namespace Trell

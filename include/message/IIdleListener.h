#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Told by CIdleCenter when the engine has nothing to do.
class ECS_API IIdleListener
{
    TRELL_DECLARE_ALLOCATOR(u"IIdleListener")

public:
    virtual ~IIdleListener() {}
    virtual void onSystemIdle() = 0;
};

} // namespace Trell

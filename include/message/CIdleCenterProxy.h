#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class IIdleListener;

// Static access to the idle center's registration for callers that should
// not see the singleton.
class ECS_API CIdleCenterProxy
{
    TRELL_DECLARE_ALLOCATOR(u"CIdleCenterProxy")

public:
    static void addIdleListener(IIdleListener* pListener);
    static void removeIdleListener(IIdleListener* pListener);
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Platform side of the shared-memory channel (CShareMemory).
class ECS_API IShareMemory
{
    TRELL_DECLARE_ALLOCATOR(u"IShareMemory")

public:
    virtual ~IShareMemory() {}

    virtual bool open(unsigned int uiKey) = 0;
    virtual void close() = 0;
    virtual void prepareStopForRead() = 0;
    virtual void prepareStopForWrite() = 0;
    virtual void run() = 0;
};

} // namespace Trell

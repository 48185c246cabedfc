#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// What the reader of a shared-memory channel (CShareMemory) hears. The
// callbacks run on the thread that pops and handles messages; the channel is
// not the listener's owner, nor the listener the channel's.
class ECS_API IShareMemoryListener
{
    TRELL_DECLARE_ALLOCATOR(u"IShareMemoryListener")

public:
    virtual ~IShareMemoryListener() {}

    // The writer said farewell: the region holds "#exit#". (The historical
    // spelling of the name is kept deliberately.)
    virtual void onWritterClose() {}
    // A block is in the region: read it with getSize and readData before
    // returning. The writer cannot write again until this returns.
    virtual void onDataAvailable() {}
};

} // namespace Trell

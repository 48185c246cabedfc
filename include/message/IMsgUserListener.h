#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CObject;

// The extra listener a user message may carry; it hears the message after
// the message center's listener, on the thread that handles messages.
class ECS_API IMsgUserListener
{
    TRELL_DECLARE_ALLOCATOR(u"IMsgUserListener")

public:
    virtual ~IMsgUserListener() {}
    // pData is the payload itself (may be null; no reference is added).
    virtual void onHandleUserMessage(unsigned int uiCommand, CObject* pData) = 0;
};

} // namespace Trell

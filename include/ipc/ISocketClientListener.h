#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CSocketClient;

// Hears a CSocketClient's connection events and received chunks, on the
// client's own thread, synchronously. A chunk is valid only during the call.
// Not owned by the client.
class ECS_API ISocketClientListener
{
    TRELL_DECLARE_ALLOCATOR(u"ISocketClientListener")

public:
    virtual ~ISocketClientListener() {}

    virtual void onConnect(CSocketClient* pClient) = 0;
    virtual void onDisconnect(CSocketClient* pClient) = 0;
    virtual void onDataAvailable(CSocketClient* pClient, unsigned char* pData, int iLength) = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CSocketServer;

// Hears a CSocketServer's connection events and received chunks, on the
// server's own thread, synchronously. A client is identified by its socket
// handle; 0xFFFFFFFF in onDisconnect means no client (the server could not
// start or could not accept). A chunk is valid only during the call. Not
// owned by the server.
class ECS_API ISocketServerListener
{
    TRELL_DECLARE_ALLOCATOR(u"ISocketServerListener")

public:
    virtual ~ISocketServerListener() {}

    virtual void onConnect(CSocketServer* pServer, unsigned int uiClient) = 0;
    virtual void onDisconnect(CSocketServer* pServer, unsigned int uiClient) = 0;
    virtual void onDataAvailable(CSocketServer* pServer, unsigned int uiClient, unsigned char* pData, int iLength) = 0;
};

} // namespace Trell

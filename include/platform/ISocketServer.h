#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Platform side of the TCP server (CSocketServer).
class ECS_API ISocketServer
{
    TRELL_DECLARE_ALLOCATOR(u"ISocketServer")

public:
    virtual ~ISocketServer() {}

    virtual bool initSocket() = 0;
    virtual void closeSocket() = 0;
    // The accepted client, or 0xFFFFFFFF on failure.
    virtual unsigned int connect() = 0;
    virtual int receive(unsigned int uiClient) = 0;
    virtual int sendData(const unsigned char* pData, unsigned int uiLength, unsigned int uiClient) = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Platform side of the TCP client (CSocketClient).
class ECS_API ISocketClient
{
    TRELL_DECLARE_ALLOCATOR(u"ISocketClient")

public:
    virtual ~ISocketClient() {}

    virtual bool initSocket() = 0;
    virtual void closeSocket() = 0;
    virtual bool connect(int& iError) = 0;
    virtual bool receive(int& iCount) = 0;
    virtual int sendData(const unsigned char* pData, unsigned int uiLength) = 0;
};

} // namespace Trell

#pragma once

// The TCP endpoints (CSocketClient, CSocketServer) as their platform sides
// see them. The front classes belong to a family above the platform, so each
// hands its platform object this view of itself instead of its type.
//
// Threading: address, port, bind address and the receive buffer are fixed
// once the endpoint is built; the blocking flag is set before the endpoint's
// thread starts. The receive buffer is written only by the endpoint's thread.

#include <foundation/CMemory.h>

namespace Trell {

class CString;
class ISocketClient;
class ISocketServer;

class ISocketClientOwner
{
    TRELL_DECLARE_ALLOCATOR(u"ISocketClientOwner")

public:
    virtual ~ISocketClientOwner() {}

    // Dotted IPv4 address of the server.
    virtual const CString& getAddress() const = 0;
    virtual unsigned int getPort() const = 0;
    // False: the socket is non-blocking.
    virtual bool isBlocking() const = 0;
    virtual unsigned char* getReceiveBuffer() const = 0;
    virtual unsigned int getReceiveBufferSize() const = 0;
};

class ISocketServerOwner
{
    TRELL_DECLARE_ALLOCATOR(u"ISocketServerOwner")

public:
    virtual ~ISocketServerOwner() {}

    virtual unsigned int getPort() const = 0;
    // Dotted IPv4 address to listen on; empty for every interface.
    virtual const CString& getBindAddress() const = 0;
    virtual unsigned char* getReceiveBuffer() const = 0;
    virtual unsigned int getReceiveBufferSize() const = 0;
    // The port the listening socket got (the asked one, or the system's
    // choice for port 0); 0 once it is closed.
    virtual void setListeningPort(unsigned int uiPort) = 0;
};

namespace PlatformImp {

// The platform objects of the endpoints. Each takes ownership of pOwner
// (deleted with it, or at once when the allocation fails, the result then
// being null).
ISocketClient* createSocketClient(ISocketClientOwner* pOwner);
ISocketServer* createSocketServer(ISocketServerOwner* pOwner);

} // namespace PlatformImp
} // namespace Trell

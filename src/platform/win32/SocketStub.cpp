// Placeholder until the Windows Sockets endpoints exist: a client or server
// gets no platform object and never connects.
#include <platform/PlatformLog.h>
#include <platform/SocketOwner.h>

namespace Trell {
namespace PlatformImp {

ISocketClient* createSocketClient(ISocketClientOwner* pOwner)
{
    delete pOwner;
    PlatformLog::logWarning(u"Sockets are not available on this platform yet.");
    return nullptr;
}

ISocketServer* createSocketServer(ISocketServerOwner* pOwner)
{
    delete pOwner;
    PlatformLog::logWarning(u"Sockets are not available on this platform yet.");
    return nullptr;
}

} // namespace PlatformImp
} // namespace Trell

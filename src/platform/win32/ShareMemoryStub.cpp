// Placeholder until the Windows shared-memory channel exists: a channel gets
// no platform object and refuses to open.
#include <platform/IShareMemoryOwner.h>
#include <platform/PlatformLog.h>

namespace Trell {
namespace PlatformImp {

IShareMemory* createShareMemory(IShareMemoryOwner* pOwner)
{
    delete pOwner;
    PlatformLog::logWarning(u"Shared memory is not available on this platform yet.");
    return nullptr;
}

} // namespace PlatformImp
} // namespace Trell

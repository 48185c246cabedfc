// Placeholder until the Windows process, pipe, shell and clipboard services
// exist: CSystem finds no platform object and fails each call cleanly.
#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>

namespace Trell {
namespace PlatformImp {

ISystem* createSystem()
{
    PlatformLog::logWarning(u"The system services are not available on this platform yet.");
    return nullptr;
}

} // namespace PlatformImp
} // namespace Trell

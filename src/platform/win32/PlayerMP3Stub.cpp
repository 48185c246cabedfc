// Placeholder until the Windows MP3 player exists: the audio player gets no
// platform object and plays nothing.
#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>

namespace Trell {
namespace PlatformImp {

IPlayerMP3* createPlayerMP3()
{
    PlatformLog::logWarning(u"MP3 playback is not available on this platform yet.");
    return nullptr;
}

} // namespace PlatformImp
} // namespace Trell

#include <platform/posix/SocketDescriptor.h>

#include <sys/socket.h>
#include <unistd.h>

namespace Trell {

void tagDescriptorCalls::close(int iFd)
{
    ::close(iFd);
}

void tagDescriptorCalls::shutdown(int iFd, int iHow)
{
    ::shutdown(iFd, iHow);
}

} // namespace Trell

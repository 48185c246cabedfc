#pragma once

// A socket descriptor shared by an endpoint's own thread (connect, accept,
// receive), the threads that send on it and the thread that stops it (see
// SocketKeeper.h). A shutdown before the close is what wakes a user blocked
// in the kernel (closing alone does not on Linux).
//
// Threading: every member may be called from any thread.

#include <platform/SocketKeeper.h>

namespace Trell {

struct tagDescriptorCalls
{
    static constexpr const char16_t* NAME = u"CSocketDescriptor";
    static constexpr const char16_t* HANDLE_NAME = u"CSocketDescriptor::tagHandle";

    static void close(int iFd);
    // iHow: SHUT_RD, SHUT_WR or SHUT_RDWR.
    static void shutdown(int iFd, int iHow);
};

// -1 stands for no descriptor.
typedef CSocketKeeper<int, -1, tagDescriptorCalls> CSocketDescriptor;

} // namespace Trell

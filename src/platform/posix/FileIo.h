#pragma once

#include <cerrno>
#include <cstddef>

#include <unistd.h>

namespace Trell {
namespace PosixIo {

// Writes all of `uiCount` bytes, going on after a partial write or a signal;
// false on any other error.
inline bool writeAll(int fd, const void* pData, std::size_t uiCount)
{
    const char* pNext = static_cast<const char*>(pData);
    while (uiCount > 0) {
        const ssize_t iWritten = write(fd, pNext, uiCount);
        if (iWritten < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        pNext += iWritten;
        uiCount -= static_cast<std::size_t>(iWritten);
    }
    return true;
}

} // namespace PosixIo
} // namespace Trell

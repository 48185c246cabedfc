#include <platform/PlatformImp.h>

#include <platform/posix/NativePath.h>

#include <cstdio>

namespace Trell {
namespace PlatformImp {

bool replaceFile(const CString& strFrom, const CString& strTo)
{
    const std::string strNativeFrom = NativePath::toNative(strFrom);
    const std::string strNativeTo = NativePath::toNative(strTo);
    if (strNativeFrom.empty() || strNativeTo.empty())
        return false;
    // rename() replaces an existing target atomically on POSIX.
    return std::rename(strNativeFrom.c_str(), strNativeTo.c_str()) == 0;
}

} // namespace PlatformImp
} // namespace Trell

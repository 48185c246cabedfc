// The memory manager sits below the text family and takes its report path as
// UTF-16 units; its CString overload is defined here, on the side that knows
// both classes.
#include <foundation/CMemManager.h>

#include <text/CString.h>

namespace Trell {

void CMemManager::setMemReportFile(const CString& path)
{
    setMemReportFile(path.buffer());
}

} // namespace Trell

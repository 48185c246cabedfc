#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// The host's sink for log entries (see CLog::setLogOuter). It receives every
// written entry as three separate texts, on whichever thread logged it and
// outside the log's lock, so it must accept calls from any thread at any
// time. It may log itself; every such entry comes back to it, so it must not
// do so unconditionally.
class ECS_API ILogOuter
{
    TRELL_DECLARE_ALLOCATOR(u"ILogOuter")

public:
    virtual ~ILogOuter() {}
    virtual void outputLog(const CString& level, const CString& category, const CString& message) = 0;
};

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Platform process, URL and clipboard services behind CSystem.
class ECS_API ISystem
{
    TRELL_DECLARE_ALLOCATOR(u"ISystem")

public:
    virtual ~ISystem() {}

    virtual void startProcess(const CString& strPath, const CString& strParameters, bool bShow, bool bWait) = 0;
    virtual void openURL(const CString& strURL) = 0;
    virtual void executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput) = 0;
    virtual void executeSystemCommand(const CString& strCommand, bool bWait) = 0;
    virtual void writeToClipboard(const CString& strText) = 0;
    virtual CString readFromClipboard() = 0;
};

} // namespace Trell

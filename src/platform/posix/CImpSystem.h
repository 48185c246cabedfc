#pragma once

#include <platform/ISystem.h>

namespace Trell {

// Process, URL and clipboard services. Declared for the POSIX layer; its
// operations are provided together with CSystem.
class CImpSystem : public ISystem
{
    TRELL_DECLARE_ALLOCATOR(u"CImpSystem")

public:
    CImpSystem();
    ~CImpSystem() override;

    void startProcess(const CString& strPath, const CString& strParameters, bool bShow,
                      bool bWait) override;
    void openURL(const CString& strURL) override;
    void executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput) override;
    void executeSystemCommand(const CString& strCommand, bool bWait) override;
    void writeToClipboard(const CString& strText) override;
    CString readFromClipboard() override;
};

} // namespace Trell

#pragma once

#include <platform/IWaitObject.h>

#include <windows.h>

namespace Trell {

class CString;

// A manual-reset event; every wait resets it, whether it ended by a signal or
// by its timeout. An empty name gives an event of this process, any other
// name the system-wide event of that name (CreateEventW), shared by every
// process that opens it.
// Threading: any thread may use it; construction and destruction are the
// owner's.
class CImpWaitObject final : public IWaitObject
{
    TRELL_DECLARE_ALLOCATOR(u"CImpWaitObject")

public:
    explicit CImpWaitObject(const CString& strName);
    ~CImpWaitObject() override;

    void reset() override;
    void wait(unsigned int uiMilliseconds) override;
    void forceWait(unsigned int uiMilliseconds) override;
    void notify() override;

private:
    CImpWaitObject(const CImpWaitObject&) = delete;
    CImpWaitObject& operator=(const CImpWaitObject&) = delete;

    HANDLE m_hEvent;
};

} // namespace Trell

#pragma once

#include <platform/IWaitObject.h>
#include <platform/posix/NamedObject.h>

namespace Trell {

class CString;

// Manual-reset event on futex words (see tagEventWords).
//
// An unnamed event keeps its words in this object and uses process-private
// futexes. A named one keeps them in a named object (NamedObject.h) shared by
// every process of the same user that opens the same name; an entry of
// another user is refused and the event then stays local to this process.
// Threading: any thread may use it; construction and destruction are the
// owner's.
class CImpWaitObject : public IWaitObject
{
    TRELL_DECLARE_ALLOCATOR(u"CImpWaitObject")

public:
    explicit CImpWaitObject(const CString& strName);
    ~CImpWaitObject() override = default;

    void reset() override { m_pWords->reset(); }
    void wait(unsigned int uiMilliseconds) override
    {
        m_pWords->waitAndReset(m_bShared, uiMilliseconds, uiMilliseconds == 0);
    }
    void forceWait(unsigned int uiMilliseconds) override { m_pWords->waitAndReset(m_bShared, uiMilliseconds, false); }
    void notify() override { m_pWords->notify(m_bShared); }

private:
    CImpWaitObject(const CImpWaitObject&) = delete;
    CImpWaitObject& operator=(const CImpWaitObject&) = delete;

    CNamedObject m_object; // closed for an unnamed event
    tagEventWords m_localWords{};
    tagEventWords* m_pWords;
    bool m_bShared = false;
};

} // namespace Trell

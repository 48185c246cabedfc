#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

class CString;
class IWaitObject;

// A manual-reset event that every wait resets.
//
// An empty name gives an event private to this process; a non-empty name
// gives an event shared by every process of the same user that opens the
// same name (the shared-memory channel relies on this). Any thread may notify, wait or
// reset; a notify while nobody waits is remembered until the next wait, and
// all threads waiting at the moment of a notify are released by it. Waits do
// not report whether they ended by a signal or by their timeout.
class ECS_API CWaitObject : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CWaitObject")

public:
    explicit CWaitObject(const CString& strName);
    ~CWaitObject() override;

    // Clears the event.
    void reset() override;
    // Blocks until notified or uiMilliseconds pass; 0 waits without limit.
    // The event is clear afterwards in either case.
    void wait(unsigned int uiMilliseconds);
    // As wait, except that 0 does not block at all (a poll).
    void forceWait(unsigned int uiMilliseconds);
    // Signals the event, waking every waiting thread.
    void notify();

protected:
    CWaitObject(const CWaitObject& other);
    CWaitObject& operator=(const CWaitObject& other);

private:
    IWaitObject* m_pWaitObject;
};

} // namespace Trell

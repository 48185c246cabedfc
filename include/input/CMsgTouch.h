#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <input/CCursor.h>
#include <message/CBaseMessage.h>

namespace Trell {

class ITouchListener;

// A touch event on its way to a surface's touch listener (message type 20).
// The listener is the one current when the event was produced; a later
// change of the surface's listener does not redirect it.
class ECS_API CMsgTouch : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgTouch")

public:
    CMsgTouch();
    // The listener is not owned; the cursor is copied.
    CMsgTouch(ITouchListener* pListener, const CCursor& cursor);
    ~CMsgTouch() override;

    ITouchListener* getListener() const { return m_pListener; }
    const CCursor& getCursor() const { return m_cursor; }

    // Calls the listener's operation for the cursor's status (press, move,
    // release, wheel); nothing without a listener or for any other status.
    void handleMessage() override;
    bool isAddressedTo(const void* pListener) const override;

protected:
    CMsgTouch(const CMsgTouch& other);
    CMsgTouch& operator=(const CMsgTouch& other);

private:
    ITouchListener* m_pListener;
    CCursor m_cursor;
};

} // namespace Trell

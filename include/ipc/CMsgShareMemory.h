#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <message/CBaseMessage.h>

namespace Trell {

class CShareMemory;

// The notification of a shared-memory reader (type 32, "Share Memory"): the
// reader's thread queues it when a block arrives and waits until the thread
// that handles messages has run it. Handling calls the channel's
// handleShareMemoryMessage, and nothing when the channel has been destroyed
// or opened again since the message was made.
class ECS_API CMsgShareMemory : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgShareMemory")

public:
    CMsgShareMemory();
    explicit CMsgShareMemory(CShareMemory* pShareMemory);
    ~CMsgShareMemory() override;

    CShareMemory* getShareMemory() const { return m_pShareMemory; }
    void handleMessage() override;

protected:
    CMsgShareMemory(const CMsgShareMemory& other) = default;
    CMsgShareMemory& operator=(const CMsgShareMemory& other) = default;

private:
    CShareMemory* m_pShareMemory; // not owned
    unsigned int m_uiOpenSerial;  // which open of the channel queued it
};

} // namespace Trell

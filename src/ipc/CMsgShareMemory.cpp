#include <ipc/CMsgShareMemory.h>

#include <ipc/CShareMemory.h>

namespace Trell {

CMsgShareMemory::CMsgShareMemory() : CBaseMessage(MESSAGE_TYPE_SHARE_MEMORY), m_pShareMemory(nullptr), m_uiOpenSerial(0)
{}

CMsgShareMemory::CMsgShareMemory(CShareMemory* pShareMemory)
    : CBaseMessage(MESSAGE_TYPE_SHARE_MEMORY), m_pShareMemory(pShareMemory),
      m_uiOpenSerial(pShareMemory ? pShareMemory->m_uiOpenSerial.load() : 0)
{}

CMsgShareMemory::~CMsgShareMemory() = default;

void CMsgShareMemory::handleMessage()
{
    if (m_pShareMemory)
        CShareMemory::dispatchMessage(m_pShareMemory, m_uiOpenSerial);
}

} // namespace Trell

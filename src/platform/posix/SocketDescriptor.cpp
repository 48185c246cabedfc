#include <platform/posix/SocketDescriptor.h>

#include <sys/socket.h>
#include <unistd.h>

namespace Trell {

CSocketDescriptor::CUse::CUse(CSocketDescriptor& descriptor) : m_descriptor(descriptor), m_pHandle(nullptr)
{
    std::lock_guard<std::mutex> guard(descriptor.m_mutex);
    m_pHandle = descriptor.m_pHandle;
    if (m_pHandle)
        ++m_pHandle->uiUsers;
}

CSocketDescriptor::CUse::~CUse()
{
    if (!m_pHandle)
        return;
    std::lock_guard<std::mutex> guard(m_descriptor.m_mutex);
    if (--m_pHandle->uiUsers == 0 && m_pHandle->bGivenUp) {
        ::close(m_pHandle->iFd);
        delete m_pHandle;
    }
}

void CSocketDescriptor::giveUp(tagHandle* pHandle)
{
    pHandle->bGivenUp = true;
    if (pHandle->uiUsers == 0) {
        ::close(pHandle->iFd);
        delete pHandle;
    }
}

bool CSocketDescriptor::adopt(int iFd)
{
    tagHandle* pHandle = new tagHandle{iFd, 0, false};
    if (!pHandle) {
        ::close(iFd);
        return false;
    }
    std::lock_guard<std::mutex> guard(m_mutex);
    if (m_pHandle)
        giveUp(m_pHandle);
    m_pHandle = pHandle;
    return true;
}

int CSocketDescriptor::peek() const
{
    std::lock_guard<std::mutex> guard(m_mutex);
    return m_pHandle ? m_pHandle->iFd : -1;
}

bool CSocketDescriptor::shutdown(int iHow)
{
    std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_pHandle)
        return false;
    ::shutdown(m_pHandle->iFd, iHow);
    return true;
}

bool CSocketDescriptor::close(int iHow)
{
    std::lock_guard<std::mutex> guard(m_mutex);
    if (!m_pHandle)
        return false;
    if (iHow != -1)
        ::shutdown(m_pHandle->iFd, iHow);
    giveUp(m_pHandle);
    m_pHandle = nullptr;
    return true;
}

} // namespace Trell

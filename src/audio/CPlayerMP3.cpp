#include <audio/CPlayerMP3.h>

#include <platform/IPlayerMP3.h>
#include <platform/PlatformImp.h>

namespace Trell {

CPlayerMP3::CPlayerMP3() : CObject(), m_pPlayer(PlatformImp::createPlayerMP3())
{}

CPlayerMP3::~CPlayerMP3()
{
    delete m_pPlayer;
    m_pPlayer = nullptr;
}

bool CPlayerMP3::load(const CString& strPath)
{
    return m_pPlayer && m_pPlayer->load(strPath);
}

void CPlayerMP3::close()
{
    if (m_pPlayer)
        m_pPlayer->close();
}

bool CPlayerMP3::isLoaded()
{
    return m_pPlayer && m_pPlayer->isLoaded();
}

bool CPlayerMP3::play()
{
    return m_pPlayer && m_pPlayer->play();
}

void CPlayerMP3::stop()
{
    if (m_pPlayer)
        m_pPlayer->stop();
}

void CPlayerMP3::pause()
{
    if (m_pPlayer)
        m_pPlayer->pause();
}

void CPlayerMP3::resume()
{
    if (m_pPlayer)
        m_pPlayer->resume();
}

void CPlayerMP3::seekToTime(unsigned int uiSeconds)
{
    if (m_pPlayer)
        m_pPlayer->seekToTime(uiSeconds);
}

unsigned int CPlayerMP3::getTotalTime()
{
    return m_pPlayer ? m_pPlayer->getTotalTime() : 0;
}

unsigned int CPlayerMP3::getCurrentTime()
{
    return m_pPlayer ? m_pPlayer->getCurrentTime() : 0;
}

} // namespace Trell

#include <audio/CSoundPlayer.h>

#include <audio/CPlayerMP3.h>
#include <audio/ISoundPlayerProvider.h>
#include <configuration/CConfigParser.h>
#include <foundation/CSingleton.h>
#include <platform/CAutoSync.h>

namespace Trell {

CSoundPlayer* CSoundPlayer::s_pInstance = nullptr;

CSoundPlayer* CSoundPlayer::getInstance()
{
    return CSingleton<CSoundPlayer>::getInstance(s_pInstance);
}

void CSoundPlayer::deleteInstance()
{
    CSingleton<CSoundPlayer>::deleteInstance(s_pInstance);
}

CSoundPlayer::CSoundPlayer()
    : CThread(), m_pProvider(nullptr), m_iSoundState(SOUND_STATE_IDLE), m_strSoundPath(), m_pMP3(new CPlayerMP3())
{}

CSoundPlayer::~CSoundPlayer()
{
    stop();
    delete m_pMP3;
    m_pMP3 = nullptr;
    m_strSoundPath = CString();
}

void CSoundPlayer::play(const CString& strPath)
{
    {
        // The path first: a worker that sees the request reads this path.
        CAutoSync lock(m_syncThread);
        m_strSoundPath = strPath;
    }
    m_iSoundState.store(SOUND_STATE_REQUESTED);
    if (!m_bRunning.load()) {
        // The same thread entry as the audio player's.
        if (CConfigParser::hasInstance()) {
            const CConfigParser::tagThread* pThread = CConfigParser::getInstance()->getThread();
            setThreadName(pThread->name[CConfigParser::tagThread::SLOT_AP]);
            setThreadPriority(pThread->priority[CConfigParser::tagThread::SLOT_AP]);
        } else {
            setThreadName(CString());
            setThreadPriority(CConfigParser::DEFAULT_THREAD_PRIORITY);
        }
        startThread();
    }
    // Also after a start: the worker waits for a signal before its first pass.
    m_waitWake.notify();
}

void CSoundPlayer::stop()
{
    if (!m_bRunning.load())
        return;
    stopThread();
    CAutoSync lock(m_syncThread);
    m_strSoundPath = CString();
}

void CSoundPlayer::run()
{
    m_waitWake.wait(0);
    while (!isPrepareStopThread()) {
        // Only the latest request of those made since the last wake-up.
        int iRequested = SOUND_STATE_REQUESTED;
        if (m_iSoundState.compare_exchange_strong(iRequested, SOUND_STATE_STARTED)) {
            CString strPath;
            {
                CAutoSync lock(m_syncThread);
                strPath = m_strSoundPath;
            }
            if (ISoundPlayerProvider* pProvider = m_pProvider.load()) {
                pProvider->playSound(strPath);
            } else if (m_pMP3) {
                m_pMP3->close();
                if (m_pMP3->load(strPath))
                    m_pMP3->play();
            }
        }
        m_waitWake.wait(0);
    }
    if (ISoundPlayerProvider* pProvider = m_pProvider.load())
        pProvider->stopSound();
    else if (m_pMP3)
        m_pMP3->close();
    m_iSoundState.store(SOUND_STATE_IDLE);
}

} // namespace Trell

#include <audio/CAudioPlayer.h>

#include <audio/CPlayerMP3.h>
#include <audio/IAudioPlayerProvider.h>
#include <configuration/CConfigParser.h>
#include <foundation/CSingleton.h>
#include <platform/CAutoSync.h>
#include <timer/CTimerManager.h>

namespace Trell {

namespace {

// The player whose worker runs on this thread: stop() called by its own
// worker (end of the last track, or a listener) must not join itself.
thread_local const CAudioPlayer* t_pWorkerOf = nullptr;

} // namespace

CAudioPlayer* CAudioPlayer::s_pInstance = nullptr;

CAudioPlayer* CAudioPlayer::getInstance()
{
    return CSingleton<CAudioPlayer>::getInstance(s_pInstance);
}

void CAudioPlayer::deleteInstance()
{
    CSingleton<CAudioPlayer>::deleteInstance(s_pInstance);
}

CAudioPlayer::CAudioPlayer()
    : CThread(), ITimerListener(), m_pProvider(nullptr), m_pListener(nullptr), m_syncPlayer(), m_aryPlaylist(),
      m_iCurrentIndex(-1), m_iPlayStatus(IAudioPlayerListener::PLAY_STATUS_STOPPED), m_listCommands(),
      m_progressTimer(PROGRESS_INTERVAL, 0), m_pMP3(new CPlayerMP3())
{}

CAudioPlayer::~CAudioPlayer()
{
    // The worker must not outlive the object it runs on.
    stop();
    stopTimmer();
    {
        CAutoSync lock(m_syncPlayer);
        deleteCommands();
    }
    delete m_pMP3;
    m_pMP3 = nullptr;
}

void CAudioPlayer::queueCommand(unsigned int uiType, int iIndex, unsigned int uiParam)
{
    CAutoSync lock(m_syncPlayer);
    if (!m_bRunning.load() || m_bPrepareStop.load())
        return;
    tagPlayCommand* pCommand = new tagPlayCommand{uiType, iIndex, uiParam};
    if (!pCommand)
        return;
    if (!m_listCommands.add(pCommand)) {
        delete pCommand;
        return;
    }
    m_waitWake.notify();
}

void CAudioPlayer::deleteCommands()
{
    for (tagPlayCommand* pCommand : m_listCommands)
        delete pCommand;
    m_listCommands.clear();
}

void CAudioPlayer::addAudio(const CString& strPath)
{
    CAutoSync lock(m_syncPlayer);
    if (!m_aryPlaylist.add(strPath))
        return;
    // A running player switches to what was just added.
    queueCommand(COMMAND_PLAY, static_cast<int>(m_aryPlaylist.getCount()) - 1, 0);
}

void CAudioPlayer::clearAllAudios()
{
    CAutoSync lock(m_syncPlayer);
    m_aryPlaylist.clear();
    queueCommand(COMMAND_STOP, 0, 0);
}

void CAudioPlayer::play()
{
    if (m_bRunning.load())
        return;
    // The configuration's "ap" entry; without a loaded configuration the
    // entry's defaults (no name, the default priority).
    if (CConfigParser::hasInstance()) {
        const CConfigParser::tagThread* pThread = CConfigParser::getInstance()->getThread();
        setThreadName(pThread->name[CConfigParser::tagThread::SLOT_AP]);
        setThreadPriority(pThread->priority[CConfigParser::tagThread::SLOT_AP]);
    } else {
        setThreadName(CString());
        setThreadPriority(CConfigParser::DEFAULT_THREAD_PRIORITY);
    }
    {
        // A worker that ended on its own (after the last track) may have
        // left commands queued after its stop.
        CAutoSync lock(m_syncPlayer);
        deleteCommands();
    }
    startThread();
    CAutoSync lock(m_syncPlayer);
    if (m_aryPlaylist.isEmpty())
        return;
    queueCommand(COMMAND_PLAY, 0, 0);
    startTimmer();
}

void CAudioPlayer::playAudio(const CString& strPath)
{
    stop();
    clearAllAudios();
    addAudio(strPath);
    play();
}

void CAudioPlayer::pause()
{
    queueCommand(COMMAND_PAUSE, 0, 0);
}

void CAudioPlayer::resume()
{
    queueCommand(COMMAND_RESUME, 0, 0);
}

void CAudioPlayer::stop()
{
    if (!m_bRunning.load())
        return;
    m_iCurrentIndex.store(-1);
    stopTimmer();
    if (t_pWorkerOf == this) {
        // On the worker: it ends once the current command is done.
        prepareStopThread();
    } else {
        stopThread();
        // A command the worker finished meanwhile may have made an entry current.
        m_iCurrentIndex.store(-1);
    }
    CAutoSync lock(m_syncPlayer);
    deleteCommands();
}

void CAudioPlayer::next()
{
    CAutoSync lock(m_syncPlayer);
    const int iCurrent = m_iCurrentIndex.load();
    if (iCurrent < static_cast<int>(m_aryPlaylist.getCount()) - 1)
        queueCommand(COMMAND_PLAY, iCurrent + 1, 0);
}

void CAudioPlayer::previous()
{
    CAutoSync lock(m_syncPlayer);
    const int iCurrent = m_iCurrentIndex.load();
    if (iCurrent > 0)
        queueCommand(COMMAND_PLAY, iCurrent - 1, 0);
}

void CAudioPlayer::seekToTime(unsigned int uiSeconds)
{
    if (m_iCurrentIndex.load() >= 0)
        queueCommand(COMMAND_SEEK, 0, uiSeconds);
}

CString CAudioPlayer::getCurrentAudio()
{
    CAutoSync lock(m_syncPlayer);
    const int iCurrent = m_iCurrentIndex.load();
    if (iCurrent < 0 || iCurrent >= static_cast<int>(m_aryPlaylist.getCount()))
        return CString();
    return m_aryPlaylist[static_cast<unsigned int>(iCurrent)];
}

void CAudioPlayer::startTimmer()
{
    m_progressTimer.setListener(this);
    m_progressTimer.setDelay(PROGRESS_INTERVAL);
    m_progressTimer.start();
}

void CAudioPlayer::stopTimmer()
{
    // With no timer manager left (shutdown) an idle timer has nothing to
    // leave, and asking must not build a new manager.
    if (m_progressTimer.isRunning() || CTimerManager::hasInstance())
        m_progressTimer.stop();
}

void CAudioPlayer::onTimer(const CTimer* pTimer, unsigned int)
{
    if (pTimer == &m_progressTimer && m_iCurrentIndex.load() != -1)
        queueCommand(COMMAND_PROGRESS, 0, 0);
}

void CAudioPlayer::onTimerComplete(const CTimer*)
{}

void CAudioPlayer::run()
{
    t_pWorkerOf = this;
    m_waitWake.wait(0);
    while (!isPrepareStopThread()) {
        tagPlayCommand* pCommand = nullptr;
        CString strPath;
        {
            CAutoSync lock(m_syncPlayer);
            if (!m_listCommands.isEmpty()) {
                pCommand = m_listCommands.takeFirst();
                if (pCommand->index >= 0 && pCommand->index < static_cast<int>(m_aryPlaylist.getCount()))
                    strPath = m_aryPlaylist[static_cast<unsigned int>(pCommand->index)];
            }
        }
        if (pCommand)
            handleCommand(pCommand, strPath);
        {
            CAutoSync lock(m_syncPlayer);
            if (!m_listCommands.isEmpty())
                m_waitWake.notify();
        }
        m_waitWake.wait(0);
    }
    // (Closing the built-in player does nothing when no file is loaded.)
    if (IAudioPlayerProvider* pProvider = m_pProvider.load())
        pProvider->release();
    else if (m_pMP3)
        m_pMP3->close();
    m_iPlayStatus.store(IAudioPlayerListener::PLAY_STATUS_STOPPED);
    if (IAudioPlayerListener* pListener = m_pListener.load())
        pListener->onPlayStatusChange(IAudioPlayerListener::PLAY_STATUS_STOPPED);
    t_pWorkerOf = nullptr;
}

void CAudioPlayer::readTimes(unsigned int& uiCurrent, unsigned int& uiTotal)
{
    uiCurrent = 0;
    uiTotal = 0;
    if (IAudioPlayerProvider* pProvider = m_pProvider.load()) {
        uiCurrent = pProvider->getCurrentTime();
        uiTotal = pProvider->getTotalTime();
    } else if (m_pMP3) {
        uiCurrent = m_pMP3->getCurrentTime();
        uiTotal = m_pMP3->getTotalTime();
    }
}

void CAudioPlayer::handleCommand(tagPlayCommand* pCommand, const CString& strPath)
{
    if (!pCommand)
        return;
    IAudioPlayerProvider* pProvider = m_pProvider.load();
    IAudioPlayerListener* pListener = m_pListener.load();
    CPlayerMP3* pMP3 = pProvider ? nullptr : m_pMP3;
    if (!pProvider && !pMP3) {
        delete pCommand;
        return;
    }
    // Every command starts from "stopped": a seek or a progress report
    // while playing therefore reports status 2. This is deliberate; hosts
    // rely on the status sequence as it has always been reported.
    IAudioPlayerListener::EPlayStatus eStatus = IAudioPlayerListener::PLAY_STATUS_STOPPED;
    switch (pCommand->type) {
    case COMMAND_PLAY:
        if (pProvider) {
            pProvider->play(strPath);
        } else {
            // A file that does not load leaves nothing loaded: the entry
            // stays current, and its clock reads 0 of 0, so it never ends.
            pMP3->close();
            if (pMP3->load(strPath))
                pMP3->play();
        }
        eStatus = IAudioPlayerListener::PLAY_STATUS_PLAYING;
        if (pCommand->index != m_iCurrentIndex.load()) {
            m_iCurrentIndex.store(pCommand->index);
            if (pListener)
                pListener->onNowPlayingAudioChange(strPath);
        }
        break;
    case COMMAND_STOP: pProvider ? pProvider->stop() : pMP3->stop(); break;
    case COMMAND_PAUSE:
        pProvider ? pProvider->pause() : pMP3->pause();
        eStatus = IAudioPlayerListener::PLAY_STATUS_PAUSED;
        break;
    case COMMAND_RESUME:
        pProvider ? pProvider->resume() : pMP3->resume();
        eStatus = IAudioPlayerListener::PLAY_STATUS_PLAYING;
        break;
    case COMMAND_SEEK: pProvider ? pProvider->seekToTime(pCommand->param) : pMP3->seekToTime(pCommand->param); break;
    case COMMAND_PROGRESS:
        if (pListener) {
            unsigned int uiCurrent = 0;
            unsigned int uiTotal = 0;
            readTimes(uiCurrent, uiTotal);
            pListener->onNowPlayingTimeChange(uiCurrent, uiTotal);
        }
        break;
    default: break;
    }
    delete pCommand;

    if (eStatus != m_iPlayStatus.load()) {
        m_iPlayStatus.store(eStatus);
        if (pListener)
            pListener->onPlayStatusChange(eStatus);
    }

    // The track has ended: the next entry, or the end of the play.
    unsigned int uiCurrent = 0;
    unsigned int uiTotal = 0;
    readTimes(uiCurrent, uiTotal);
    if (uiTotal != 0 && uiCurrent == uiTotal) {
        CAutoSync lock(m_syncPlayer);
        if (m_iCurrentIndex.load() < static_cast<int>(m_aryPlaylist.getCount()) - 1)
            next();
        else
            stop();
    }
}

} // namespace Trell

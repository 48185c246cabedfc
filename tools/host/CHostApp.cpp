#include "CHostApp.h"

#include <audio/CAudioPlayer.h>
#include <configuration/CConfigParser.h>
#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <foundation/CMemManager.h>
#include <input/CCursor.h>
#include <input/CSurface.h>
#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <platform/CPlatformFactory.h>
#include <system/CLog.h>
#include <system/CPath.h>
#include <text/CStringConverter.h>
#include <timer/CMsgTimer.h>
#include <timer/CTimerManager.h>

#include <ipc/CDataTransfer.h>
#include <ipc/CDataTransferProxy.h>
#include <ipc/CShareMemoryProxy.h>

#include <cinttypes>
#include <cstdlib>
#include <thread>
#include <vector>

using namespace Trell;

namespace Host {

std::string toUtf8(const CString& strText)
{
    if (strText.length() == 0)
        return std::string();
    std::vector<unsigned char> bytes(3 * strText.length() + 2);
    unsigned int uiWritten = 0;
    CStringConverter::convertToUTF8(strText, bytes.data(), static_cast<unsigned int>(bytes.size()), &uiWritten);
    return std::string(reinterpret_cast<const char*>(bytes.data()), uiWritten);
}

namespace {

CString fromUtf8(const std::string& strText)
{
    CString out;
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(strText.c_str()), out);
    return out;
}

const char* touchStatusName(unsigned int uiStatus)
{
    switch (uiStatus) {
    case CCursor::TOUCH_STATUS_PRESS: return "press";
    case CCursor::TOUCH_STATUS_MOVE: return "move";
    case CCursor::TOUCH_STATUS_RELEASE: return "release";
    case CCursor::TOUCH_STATUS_WHEEL: return "wheel";
    default: return "none";
    }
}

std::string touchText(const CCursor& cursor)
{
    char szLine[256];
    std::snprintf(szLine, sizeof(szLine), "%s cursor=%u x=%d y=%d dx=%d dy=%d xspeed=%d yspeed=%d t=%u",
                  touchStatusName(cursor.getTouchStatus()), cursor.getID(), cursor.getX(), cursor.getY(),
                  cursor.getXDelta(), cursor.getYDelta(), cursor.getXSpeed(), cursor.getYSpeed(),
                  cursor.getTimestamp());
    std::string strText = szLine;
    if (cursor.getTouchStatus() == CCursor::TOUCH_STATUS_WHEEL)
        strText += " distance=" + std::to_string(cursor.getDistance());
    return strText;
}

} // namespace

CHostApp::CHostApp(std::FILE* pOut) : m_pOut(pOut), m_wake(CString()), m_runTimer(0, 1)
{
    m_runTimer.setListener(this);
}

CHostApp::~CHostApp()
{
    shutDown();
}

void CHostApp::printLine(const std::string& strLine)
{
    std::lock_guard<std::mutex> guard(m_printMutex);
    if (std::this_thread::get_id() == m_mainThread && m_pCurrent)
        ++m_uiLinesForCurrent;
    std::fwrite(strLine.data(), 1, strLine.size(), m_pOut);
    std::fputc('\n', m_pOut);
    std::fflush(m_pOut);
}

void CHostApp::printHost(const std::string& strLine)
{
    printLine("host: " + strLine);
}

bool CHostApp::startUp(const tagHostOptions& options, IPlatformFactory* pFactory)
{
    m_bStarted = true;

    // 1. Folders: the application folder is the executable's, the project
    // folder the one named on the command line.
    CPath::setApplicationFolder(CPath::getApplicationFolder());
    const std::string strGiven = options.strProjectFolder.empty() ? "." : options.strProjectFolder;
    char* pszAbsolute = ::realpath(strGiven.c_str(), nullptr);
    const CString strProject = CPath::deleteTrailingPathDelimiter(fromUtf8(pszAbsolute ? pszAbsolute : strGiven));
    std::free(pszAbsolute);
    CPath::setProjectFolder(strProject);

    // 2. The configuration; every later reader of settings depends on it.
    const CString strConfig =
        options.strConfigPath.empty()
            ? CPath::generateAbsolutePath(CPath::addTrailingPathDelimiter(strProject), CString(u"engine-config.xml"))
            : fromUtf8(options.strConfigPath);
    CConfigParser* pConfig = CConfigParser::getInstance();
    if (!pConfig || !pConfig->load(strConfig)) {
        printHost("cannot load the configuration " + toUtf8(strConfig));
        return false;
    }
    if (CMemManager* pMemory = CMemManager::getInstance())
        pMemory->setMemReportFile(pConfig->getMemReportOutput()->file_path_win);

    // 3. The log file named by the configuration.
    CLog::initialize();
    printHost("project " + toUtf8(strProject) + ", configuration " + toUtf8(strConfig));

    // The message center is made here, on the main thread, before any
    // producer thread can ask for it.
    CMessageCenter* pCenter = CMessageCenter::getInstance();
    pCenter->setListener(this);

    // 4. The surface factory before any surface, then the timer thread.
    CPlatformFactory::getInstance()->registerFactory(pFactory);
    CTimerManager::getInstance()->start();
    m_bTimerStarted = true;
    const CConfigParser::tagTouchParam* pTouch = pConfig->getTouchParam();
    printHost("timer manager started; long press " + std::to_string(pTouch->long_press_delay) + " ms, repeat " +
              std::to_string(pTouch->continuous_press_interval) + " ms, waver " +
              std::to_string(pTouch->waver_distance) + " px");

    for (unsigned int i = 0; i < pConfig->getSurfaceCount(); ++i) {
        const CConfigParser::tagSurface* pRecord = pConfig->getSurfaceByIndex(i);
        if (!pRecord || !pRecord->use)
            continue;
        CSurface* pSurface = CSurface::getInstance(i, true);
        if (!pSurface)
            continue;
        m_surfaces.push_back(pSurface);
        pSurface->setTouchListener(this);
        pSurface->setEnable(pRecord->enable_touch);
        const bool bReady = pSurface->initialize();
        pSurface->setSurfaceName(pRecord->name);
        printHost("surface " + std::to_string(i) + " " + toUtf8(pRecord->name) + " " +
                  std::to_string(pSurface->getSurfaceWidth()) + "x" + std::to_string(pSurface->getSurfaceHeight()) +
                  " at " + std::to_string(pRecord->offset_x) + "," + std::to_string(pRecord->offset_y) +
                  (pRecord->enable_touch ? " touch on" : " touch off") + (bReady ? "" : " (not initialised)"));
    }

    // 5. The rest: the remote-control server.
    if (options.uiPort != 0) {
        m_pDataTransfer = new CDataTransferProxy();
        m_pDataTransfer->setListener(this);
        m_pDataTransfer->openAsServer(options.uiPort, fromUtf8(options.strBindAddress));
        printHost("data transfer listening on " + options.strBindAddress + ":" + std::to_string(options.uiPort));
    }

    // A reader on a shared-memory channel that another process writes.
    if (options.uiShareMemoryKey != 0) {
        m_pShareMemory = new CShareMemoryProxy();
        m_pShareMemory->setListener(this);
        const bool bOpen = m_pShareMemory->open(options.uiShareMemoryKey, false, options.uiShareMemorySize);
        printHost("shared memory reader on key " + std::to_string(options.uiShareMemoryKey) + ", " +
                  std::to_string(options.uiShareMemorySize) + " bytes" + (bOpen ? "" : " (not opened)"));
    }

    // The playlist player, on its own worker ("ap" thread entry).
    if (!options.audioFiles.empty()) {
        CAudioPlayer* pPlayer = CAudioPlayer::getInstance();
        pPlayer->setListener(this);
        for (const std::string& strFile : options.audioFiles)
            pPlayer->addAudio(fromUtf8(strFile));
        pPlayer->play();
        m_bAudio = true;
        printHost("audio player: " + std::to_string(options.audioFiles.size()) + " file(s)");
    }

    if (options.uiRunMilliseconds != 0) {
        m_runTimer.setDelay(options.uiRunMilliseconds);
        m_runTimer.start();
        printHost("running for " + std::to_string(options.uiRunMilliseconds) + " ms");
    }
    printHost("ready");
    return true;
}

void CHostApp::run()
{
    CMessageCenter* pCenter = CMessageCenter::getInstance();
    while (!m_bQuit) {
        CObjectPtr<CBaseMessage> ptrMessage = pCenter->popMessage();
        if (!ptrMessage) {
            // A push between the empty pop and this wait leaves the event
            // set, so the wait returns at once: nothing is missed.
            m_wake.wait(0);
            continue;
        }
        m_pCurrent = ptrMessage.get();
        m_uiLinesForCurrent = 0;
        ++m_uiHandled;
        // A timer message of another listener (the audio player's progress)
        // prints nothing through the host: its entry count stands for it.
        const unsigned int uiTimerEntries = ptrMessage->getType() == CBaseMessage::MESSAGE_TYPE_TIMER
                                                ? static_cast<CMsgTimer*>(ptrMessage.get())->getDataCount()
                                                : 0;
        ptrMessage->handleMessage();
        if (m_uiLinesForCurrent == 0)
            printLine(messagePrefix() + "handled by its owner" +
                      (uiTimerEntries ? " timer entries=" + std::to_string(uiTimerEntries) : std::string()));
        m_pCurrent = nullptr;
        if (m_bQuitWhenDrained && pCenter->getMessageCount() == 0) {
            m_bQuitWhenDrained = false;
            requestQuit("remote quit document");
        }
    }
}

void CHostApp::shutDown()
{
    if (!m_bStarted)
        return;
    m_bStarted = false;
    printHost("shutting down after " + std::to_string(m_uiHandled) + " messages");

    // Worker threads first, in reverse: the player, the shared-memory and
    // socket threads stop pushing.
    if (m_bAudio) {
        CAudioPlayer::getInstance()->stop();
        CAudioPlayer::getInstance()->setListener(nullptr);
        CAudioPlayer::deleteInstance();
        m_bAudio = false;
        printHost("audio player stopped");
    }
    if (m_pShareMemory) {
        m_pShareMemory->close();
        delete m_pShareMemory;
        m_pShareMemory = nullptr;
        printHost("shared memory closed");
    }
    if (m_pDataTransfer) {
        m_pDataTransfer->close();
        delete m_pDataTransfer;
        m_pDataTransfer = nullptr;
        CDataTransfer::deleteAllInstance();
        printHost("data transfer closed");
    }
    // Surfaces drop their fingers and press timers, then the timer thread stops.
    for (CSurface* pSurface : m_surfaces)
        pSurface->unInitialize();
    m_surfaces.clear();
    m_runTimer.stop();
    if (m_bTimerStarted) {
        CTimerManager::getInstance()->stop();
        m_bTimerStarted = false;
        printHost("timer manager stopped");
    }
    CSurface::deleteInstance();
    printHost("surfaces released");
    if (CMessageCenter* pCenter = CMessageCenter::getInstance()) {
        pCenter->setListener(nullptr);
        pCenter->clearMessageList();
    }
    CMessageCenter::deleteInstance();
    CTimerManager::deleteInstance();
    printHost("message center released");
    CLog::unInitialize();
    CConfigParser::deleteInstance();
    CPath::clearData();
    CPlatformFactory::deleteInstance();
    printHost("stopped");
}

void CHostApp::requestQuit(const char* pszReason)
{
    printHost(std::string("quit requested: ") + pszReason);
    if (CMessageCenter* pCenter = CMessageCenter::getInstance())
        pCenter->pushQuitMessage();
}

std::string CHostApp::messagePrefix() const
{
    if (!m_pCurrent)
        return "[- -] ";
    char szPrefix[96];
    std::snprintf(szPrefix, sizeof(szPrefix), "[%u %s] id=%u ", static_cast<unsigned int>(m_pCurrent->getType()),
                  toUtf8(m_pCurrent->getTypeName()).c_str(), m_pCurrent->getID());
    return szPrefix;
}

void CHostApp::printTouch(const CCursor& cursor, const char* pszSource)
{
    printLine(messagePrefix() + pszSource + " " + touchText(cursor));
    if (m_pTrackView)
        m_pTrackView->addTouch(cursor);
}

void CHostApp::onHandleQuitMessage()
{
    printLine(messagePrefix() + "quit");
    m_bQuit = true;
}

void CHostApp::onHandleRenderMessage(unsigned int uiID)
{
    printLine(messagePrefix() + "render surface=" + std::to_string(uiID));
    if (m_pTrackView)
        m_pTrackView->redraw();
}

void CHostApp::onHandleLogicEventMessage(unsigned int uiEvent)
{
    printLine(messagePrefix() + "logic event=" + std::to_string(uiEvent));
}

void CHostApp::onHandleVoiceContentMessage(const CString& strText)
{
    printLine(messagePrefix() + "voice text=" + toUtf8(strText));
}

void CHostApp::onHandleSystemMessage(unsigned int uiCommand, CObject* pData)
{
    printLine(messagePrefix() + "system command=" + std::to_string(uiCommand) + (pData ? " data" : ""));
}

void CHostApp::onHandleGestureMessage(unsigned int uiGesture, unsigned int uiID, CObject* pData)
{
    printLine(messagePrefix() + "gesture=" + std::to_string(uiGesture) + " target=" + std::to_string(uiID) +
              (pData ? " data" : ""));
}

void CHostApp::onHandleHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus)
{
    printLine(messagePrefix() + "hardkey code=" + std::to_string(uiKeyCode) + " status=" + std::to_string(uiKeyStatus));
}

void CHostApp::onHandleIMEMessage(const CString& strText)
{
    printLine(messagePrefix() + "ime text=" + toUtf8(strText));
}

void CHostApp::onHandleDataContextMessage(unsigned int uiID, CObject* pData)
{
    printLine(messagePrefix() + "data context=" + std::to_string(uiID) + (pData ? " data" : ""));
}

void CHostApp::onHandleUserMessage(unsigned int uiCommand, CObject* pData)
{
    printLine(messagePrefix() + "user command=" + std::to_string(uiCommand) + (pData ? " data" : ""));
}

void CHostApp::onMessageAvailable()
{
    m_wake.notify();
}

void CHostApp::onTouchPress(const CCursor& cursor)
{
    printTouch(cursor, "surface");
}

void CHostApp::onTouchMove(const CCursor& cursor)
{
    printTouch(cursor, "surface");
}

void CHostApp::onTouchRelease(const CCursor& cursor)
{
    printTouch(cursor, "surface");
}

void CHostApp::onTouchWheel(const CCursor& cursor)
{
    printTouch(cursor, "surface");
}

void CHostApp::onTimer(const CTimer* pTimer, unsigned int uiCount)
{
    char szLine[96];
    std::snprintf(szLine, sizeof(szLine), "timer=0x%" PRIxPTR " count=%u", pTimer ? pTimer->getID() : 0, uiCount);
    printLine(messagePrefix() + szLine);
}

void CHostApp::onTimerComplete(const CTimer* pTimer)
{
    char szLine[96];
    std::snprintf(szLine, sizeof(szLine), "timer=0x%" PRIxPTR " complete", pTimer ? pTimer->getID() : 0);
    printLine(messagePrefix() + szLine);
    if (pTimer == &m_runTimer)
        requestQuit("run time over");
}

void CHostApp::onConnect()
{
    printLine(messagePrefix() + "remote connected");
}

void CHostApp::onDisconnect()
{
    printLine(messagePrefix() + "remote disconnected");
}

void CHostApp::onTouchInputAvailable(const CCursor& cursor)
{
    if (m_touchInputHook)
        m_touchInputHook(cursor);
    printLine(messagePrefix() + "remote touch_input " + touchText(cursor));
    // The remote finger goes through the first surface's cursor manager as a
    // platform touch would, so it gets its track, speeds and press repetition.
    const unsigned int uiStatus = cursor.getTouchStatus();
    if (uiStatus >= CCursor::TOUCH_STATUS_PRESS && uiStatus <= CCursor::TOUCH_STATUS_RELEASE)
        CMessageCenter::getInstance()->pushTouchMessage(0, cursor.getID(), cursor.getX(), cursor.getY(), uiStatus - 1);
}

void CHostApp::onPageCMDAvailable(IDataTransferListener::EOperationHandle eHandle, CString strPageName)
{
    printLine(messagePrefix() + "remote page_cmd handle=" + std::to_string(static_cast<int>(eHandle)) +
              " page=" + toUtf8(strPageName));
}

void CHostApp::onPopupCMDAvailable(IDataTransferListener::EOperationHandle eHandle, CString strPopupName)
{
    printLine(messagePrefix() + "remote popup_cmd handle=" + std::to_string(static_cast<int>(eHandle)) +
              " popup=" + toUtf8(strPopupName));
}

void CHostApp::onLogicDataAvailable(CArrayPtr<unsigned char> bytes)
{
    printLine(messagePrefix() + "remote logic raw bytes=" + std::to_string(bytes.getCount()));
}

void CHostApp::onLogicDataAvailable(CXMLParser* pDocument)
{
    const CXMLElement* pRoot = pDocument ? pDocument->getRootElement() : nullptr;
    CString strText;
    if (pDocument)
        pDocument->saveToString(strText, false);
    const std::string strRoot = pRoot ? toUtf8(pRoot->getName()) : std::string();
    printLine(messagePrefix() + "remote logic xml root=" + strRoot + " chars=" + std::to_string(strText.length()));
    // A document whose root is <quit/> is the remote way to end the host.
    // What the remote sent before it may still wait in the input queue (the
    // center serves data before input by weight), and a quit message would
    // jump all of it: the quit follows once the queue has drained.
    if (strRoot == "quit")
        m_bQuitWhenDrained = true;
}

void CHostApp::onWritterClose()
{
    printLine(messagePrefix() + "shm writer closed");
}

void CHostApp::onDataAvailable()
{
    const unsigned int uiSize = m_pShareMemory ? m_pShareMemory->getSize() : 0;
    std::string strBlock(uiSize, '\0');
    if (uiSize == 0 || !m_pShareMemory->readData(reinterpret_cast<unsigned char*>(&strBlock[0]), uiSize))
        strBlock.clear();
    // The block in short: its size and its first bytes where they are text.
    std::string strText;
    for (char c : strBlock.substr(0, 32))
        strText += (c >= 0x20 && c < 0x7F) ? c : '.';
    printLine(messagePrefix() + "shm data bytes=" + std::to_string(strBlock.size()) + " text=" + strText);
}

void CHostApp::onNowPlayingAudioChange(const CString& strPath)
{
    printLine("audio: now playing " + toUtf8(strPath));
}

void CHostApp::onNowPlayingTimeChange(unsigned int uiCurrent, unsigned int uiTotal)
{
    printLine("audio: time " + std::to_string(uiCurrent) + "/" + std::to_string(uiTotal) + " s");
}

void CHostApp::onPlayStatusChange(IAudioPlayerListener::EPlayStatus eStatus)
{
    static const char* const s_names[] = {"playing", "paused", "stopped"};
    const unsigned int uiStatus = static_cast<unsigned int>(eStatus);
    printLine(std::string("audio: status ") + (uiStatus < 3 ? s_names[uiStatus] : "unknown"));
}

} // namespace Host

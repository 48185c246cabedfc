#pragma once

// Threading contract
// ------------------
// The host application lives on the main thread: start-up, the main loop,
// every listener callback (they run inside handleMessage) and shutdown,
// except the audio player's callbacks, which run on its worker and only print.
// onMessageAvailable is the one entry called from other threads (timer,
// socket, input and signal threads); it only notifies the wake event.
// requestQuit may be called from any thread once start-up has run.

#include <audio/IAudioPlayerListener.h>
#include <foundation/CMemory.h>
#include <input/ITouchListener.h>
#include <ipc/IDataTransferListener.h>
#include <ipc/IShareMemoryListener.h>
#include <message/IMessageCenterListener.h>
#include <platform/CWaitObject.h>
#include <text/CString.h>
#include <timer/CTimer.h>

#include <cstdio>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Trell {
class CBaseMessage;
class CCursor;
class CDataTransferProxy;
class CShareMemoryProxy;
class CSurface;
class IPlatformFactory;
} // namespace Trell

namespace Host {

class ITrackView;

// What the host is told on its command line.
struct tagHostOptions
{
    std::string strProjectFolder; // empty: the current folder
    std::string strConfigPath;    // empty: <project>/engine-config.xml
    std::string strBindAddress = "127.0.0.1";
    unsigned int uiPort = 4000;         // 0: no data transfer server
    unsigned int uiRunMilliseconds = 0; // 0: until a quit
    unsigned int uiShareMemoryKey = 0;  // 0: no shared-memory reader
    unsigned int uiShareMemorySize = 4096;
    std::vector<std::string> audioFiles; // the audio player's playlist
    bool bWindow = false;
    std::string strScreenshot; // window mode: the drawn tracks, written at quit
};

// The reference host: starts the library's subsystems in the engine's order,
// drains the message center on the main thread and prints every delivered
// message as one line, and takes everything down in reverse.
class CHostApp : public Trell::IMessageCenterListener,
                 public Trell::ITouchListener,
                 public Trell::ITimerListener,
                 public Trell::IDataTransferListener,
                 public Trell::IShareMemoryListener,
                 public Trell::IAudioPlayerListener
{
    TRELL_DECLARE_ALLOCATOR(u"Host::CHostApp")

public:
    explicit CHostApp(std::FILE* pOut);
    ~CHostApp() override;
    CHostApp(const CHostApp&) = delete;
    CHostApp& operator=(const CHostApp&) = delete;

    // Start-up; false (with the reason printed) when the host cannot run.
    // The factory is the host's surface factory and stays owned by the caller.
    bool startUp(const tagHostOptions& options, Trell::IPlatformFactory* pFactory);
    // Pops and handles messages until a quit message has been handled; waits
    // on the wake event while the queue is empty.
    void run();
    // Reverse of startUp; safe after a failed or partial start-up.
    void shutDown();

    // Pushes a quit message (any thread).
    void requestQuit(const char* pszReason);
    // Where finger tracks are drawn (window mode); null for none.
    void setTrackView(ITrackView* pView) { m_pTrackView = pView; }
    unsigned int getHandledCount() const { return m_uiHandled; }
    // Called first thing in the handler of every remote touch input (main
    // thread); for measurements.
    void setTouchInputHook(std::function<void(const Trell::CCursor&)> hook) { m_touchInputHook = std::move(hook); }

    // IMessageCenterListener
    void onHandleQuitMessage() override;
    void onHandleRenderMessage(unsigned int uiID) override;
    void onHandleLogicEventMessage(unsigned int uiEvent) override;
    void onHandleVoiceContentMessage(const Trell::CString& strText) override;
    void onHandleSystemMessage(unsigned int uiCommand, Trell::CObject* pData) override;
    void onHandleGestureMessage(unsigned int uiGesture, unsigned int uiID, Trell::CObject* pData) override;
    void onHandleHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus) override;
    void onHandleIMEMessage(const Trell::CString& strText) override;
    void onHandleDataContextMessage(unsigned int uiID, Trell::CObject* pData) override;
    void onHandleUserMessage(unsigned int uiCommand, Trell::CObject* pData) override;
    void onMessageAvailable() override;

    // ITouchListener (the surfaces' cursor managers)
    void onTouchPress(const Trell::CCursor& cursor) override;
    void onTouchMove(const Trell::CCursor& cursor) override;
    void onTouchRelease(const Trell::CCursor& cursor) override;
    void onTouchWheel(const Trell::CCursor& cursor) override;

    // ITimerListener (the bounded run)
    void onTimer(const Trell::CTimer* pTimer, unsigned int uiCount) override;
    void onTimerComplete(const Trell::CTimer* pTimer) override;

    // IDataTransferListener
    void onConnect() override;
    void onDisconnect() override;
    void onTouchInputAvailable(const Trell::CCursor& cursor) override;
    void onPageCMDAvailable(Trell::IDataTransferListener::EOperationHandle eHandle,
                            Trell::CString strPageName) override;
    void onPopupCMDAvailable(Trell::IDataTransferListener::EOperationHandle eHandle,
                             Trell::CString strPopupName) override;
    void onLogicDataAvailable(Trell::CArrayPtr<unsigned char> bytes) override;
    void onLogicDataAvailable(Trell::CXMLParser* pDocument) override;

    // IShareMemoryListener
    void onWritterClose() override;
    void onDataAvailable() override;

    // IAudioPlayerListener (the player's worker thread)
    void onNowPlayingAudioChange(const Trell::CString& strPath) override;
    void onNowPlayingTimeChange(unsigned int uiCurrent, unsigned int uiTotal) override;
    void onPlayStatusChange(Trell::IAudioPlayerListener::EPlayStatus eStatus) override;

    // One line on the host's output, flushed at once (any thread).
    void printLine(const std::string& strLine);
    // A host line ("host: ...").
    void printHost(const std::string& strLine);

private:
    // "[type Name] id=N " for the message being handled.
    std::string messagePrefix() const;
    void printTouch(const Trell::CCursor& cursor, const char* pszSource);

    std::FILE* m_pOut;
    std::mutex m_printMutex;
    std::thread::id m_mainThread = std::this_thread::get_id();
    // Lines printed for the message being handled.
    unsigned int m_uiLinesForCurrent = 0;
    Trell::CWaitObject m_wake;
    // The message being handled, for the lines its callbacks print.
    Trell::CBaseMessage* m_pCurrent = nullptr;
    bool m_bQuit = false;
    // A remote quit waits for the messages queued before it.
    bool m_bQuitWhenDrained = false;
    unsigned int m_uiHandled = 0;
    Trell::CTimer m_runTimer;
    ITrackView* m_pTrackView = nullptr;
    std::function<void(const Trell::CCursor&)> m_touchInputHook;
    std::vector<Trell::CSurface*> m_surfaces;
    bool m_bStarted = false;
    bool m_bTimerStarted = false;
    Trell::CDataTransferProxy* m_pDataTransfer = nullptr;
    Trell::CShareMemoryProxy* m_pShareMemory = nullptr;
    bool m_bAudio = false;
};

// Something that shows finger tracks (the window); called on the main thread.
class ITrackView
{
public:
    virtual ~ITrackView() = default;
    // A touch event delivered to the host, with its status and speeds.
    virtual void addTouch(const Trell::CCursor& cursor) = 0;
    // The surface asked to be painted.
    virtual void redraw() = 0;
};

// UTF-16 text as UTF-8 for the output.
std::string toUtf8(const Trell::CString& strText);

} // namespace Host

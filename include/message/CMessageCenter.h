#pragma once

// Threading contract
// - Producers on any thread push; exactly one consumer thread (the host's
//   main loop) calls popMessage() and handles what it gets.
// - m_syncObject guards the five lists, the phase, the spare nodes and every
//   query/removal.
//   The scheduling table is scored and sorted outside the lock, which is why
//   there may be only one consumer.
// - Lock order: a producer's own lock (timer manager, touch manager) first,
//   then this center's lock. The center never calls out while holding its
//   lock: onMessageAvailable() runs on the pushing thread after the lock is
//   released, so a listener may push or pop from inside it.
// - getInstance()/deleteInstance() do not lock: the host calls them from its
//   main thread, before producers start and after they have stopped.
// - The intake flag (lock()/unlock()) and the modifier flags are atomics
//   read and written without the lock: a push may race a lock() and still
//   be queued, as with the mutex left out of lock().

#include <foundation/CDataArray.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectList.h>
#include <foundation/CObjectPtr.h>
#include <foundation/Export.h>
#include <message/CBaseMessage.h>
#include <message/IMessageCenterListener.h>
#include <platform/CSyncObject.h>

#include <atomic>
#include <cstdint>

namespace Trell {

template <class T>
class CSingleton;

class CString;
class IMsgSystemListener;
class IMsgUserListener;

// The process-wide message queue between producers and the main loop.
// Commands (system, quit, user) jump the queue; render requests are
// coalesced and follow the phase of the message that caused them; back to
// back timer messages merge; input, data, timer and phase-less render
// messages share the consumer by a weighted, age-based rotation.
class ECS_API CMessageCenter : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CMessageCenter")

public:
    // One row of the scheduling table.
    struct tagMessageListInfo
    {
        TRELL_DECLARE_ALLOCATOR(u"CMessageCenter::tagMessageListInfo")

        unsigned int uiListNumber; // 1 input, 2 data, 3 timer, 4 render of the user phase
        unsigned int uiLastTime;   // when this list was last served, on the center's clock
        unsigned int uiScore;
        unsigned int uiWeight;
    };

    // The phase decides which list receives the next render request.
    enum EPhase : unsigned int
    {
        PHASE_INPUT = 1,
        PHASE_DATA = 2,
        PHASE_TIMER = 3,
        PHASE_USER = 4
    };

    static CMessageCenter* getInstance();
    static void deleteInstance();
    // Whether the singleton exists (asking does not create it): for callers
    // that may run after deleteInstance at shutdown.
    static bool hasInstance() { return s_pInstance != nullptr; }

    void setListener(IMessageCenterListener* pListener) { m_pListener = pListener; }
    IMessageCenterListener* getListener() const { return m_pListener; }

    void pushQuitMessage();
    // Nothing is pushed when a render message with this ID already waits at
    // the end of the current phase's list.
    void pushRenderMessage(unsigned int uiID);
    void pushSystemMessage(unsigned int uiCommand, CObject* pData, IMsgSystemListener* pListener);
    void pushUserMessage(unsigned int uiCommand, CObject* pData, IMsgUserListener* pListener);
    void pushGestureMessage(unsigned int uiGesture, unsigned int uiID, CObject* pData);
    // Updates the Ctrl/Shift/Alt flags (even while the intake is closed), then pushes.
    void pushHardkeyMessage(unsigned int uiKeyCode, unsigned int uiKeyStatus);
    void pushIMEMessage(const CString& strText);
    void pushVoiceContentMessage(const CString& strText);
    void pushLogicEventMessage(unsigned int uiEvent);
    void pushDataContextMessage(unsigned int uiID, CObject* pData);
    // Status 0 adds, 1 updates, 2 removes the touch point on the cursor
    // manager of CSurface::getInstance(uiSurface, true), with timestamp
    // "now"; the manager queues the touch message itself. Other statuses are
    // ignored. No lock of the center is held on the way.
    void pushTouchMessage(unsigned int uiSurface, unsigned int uiCursor, int iX, int iY, unsigned int uiStatus);

    // Takes ownership of any message. A closed intake or an unknown type
    // destroys it; a merged timer message or a duplicate render request is
    // destroyed too. The listener hears onMessageAvailable() in every case
    // (except for null).
    void pushMessage(CBaseMessage* pMessage);

    // The next message by the scheduling rule; empty when nothing waits.
    // One consumer thread only.
    CObjectPtr<CBaseMessage> popMessage();

    unsigned int getMessageCount();
    unsigned int getMessageCountByType(CBaseMessage::EMessageType eType);
    // Removal destroys the removed messages.
    void deleteMessageByID(unsigned int uiID);
    void deleteMessageByType(CBaseMessage::EMessageType eType);
    void deleteMessageByTypeAndID(CBaseMessage::EMessageType eType, unsigned int uiID);
    // Removes the entries of this timer from every queued timer message and
    // destroys a timer message left without entries.
    // Timer ids are pointer-sized (a timer's id is its address).
    void deleteTimerMessage(std::uintptr_t uiTimerID);
    // Removes every message addressed to this receiver of its own (a touch
    // listener that is going away), so that none is delivered to it.
    void deleteMessageByListener(const void* pListener);
    void clearMessageList();

    // Close and reopen the intake; they do not take the mutex.
    void lock() { m_bLocked.store(true, std::memory_order_relaxed); }
    void unlock() { m_bLocked.store(false, std::memory_order_relaxed); }
    bool isLocked() const { return m_bLocked.load(std::memory_order_relaxed); }

    bool isCtrlKeyPress() const { return m_bCtrlPressed.load(std::memory_order_relaxed); }
    bool isShiftKeyPress() const { return m_bShiftPressed.load(std::memory_order_relaxed); }
    bool isAltKeyPress() const { return m_bAltPressed.load(std::memory_order_relaxed); }

protected:
    friend class CSingleton<CMessageCenter>;
    CMessageCenter();
    ~CMessageCenter() override;
    CMessageCenter(const CMessageCenter& other);
    CMessageCenter& operator=(const CMessageCenter& other);

    // The appenders of the messages that may merge with what is queued,
    // called by pushMessage with the lock held (the other types are plain
    // appends of a node made before the lock). Each answers whether its list
    // kept the message; the caller destroys one that was not kept (merged,
    // a duplicate, or out of memory) after unlocking.
    bool pushTimerMessage(CBaseMessage* pMessage);
    bool pushRenderMessage(CObjectList<CBaseMessage>& list, CBaseMessage* pMessage, bool bCoalesce);

    // The plain appends by list, for subclasses that queue a message of a
    // known kind: input (phase input), data (phase data) and the command
    // list (phase user). They take the lock themselves and answer whether
    // the list kept the message; pushMessage takes the same path with the
    // node made before the lock.
    bool pushInputMessage(CBaseMessage* pMessage);
    bool pushDataMessage(CBaseMessage* pMessage);
    bool pushUserMessage(CBaseMessage* pMessage);

    // Whether the trailing run of render messages of `list` holds one with this ID.
    bool hasRenderMessageAtLast(CObjectList<CBaseMessage>& list, unsigned int uiID);

private:
    bool appendMessage(CObjectList<CBaseMessage>& list, CBaseMessage* pMessage, unsigned int uiNewPhase);
    CObjectList<CBaseMessage>& getPhaseList();
    void deleteMatching(bool bByType, CBaseMessage::EMessageType eType, bool bByID, unsigned int uiID);
    void notifyMessageAvailable();

    static CMessageCenter* s_pInstance;

    IMessageCenterListener* m_pListener;
    CObjectList<CBaseMessage> m_listCommand;
    CObjectList<CBaseMessage> m_listInput;
    CObjectList<CBaseMessage> m_listData;
    CObjectList<CBaseMessage> m_listTimer;
    CObjectList<CBaseMessage> m_listRender;
    unsigned int m_uiPhase;
    CDataArray<tagMessageListInfo> m_aryListInfo;
    CSyncObject m_syncObject;
    std::atomic<bool> m_bLocked;
    std::atomic<bool> m_bCtrlPressed;
    std::atomic<bool> m_bShiftPressed;
    std::atomic<bool> m_bAltPressed;
    // Keeps the spares below, written on every push and pop, off the line of
    // the fields above that each push reads without the lock.
    [[maybe_unused]] char m_acSparePadding[64];
    // Nodes of popped messages, linked by pNext, for the next appends;
    // guarded by m_syncObject. The count is also read without the lock, as
    // a hint whether to make a node before taking it.
    CObjectList<CBaseMessage>::tagNode* m_pSpareNodes;
    std::atomic<unsigned int> m_uiSpareNodes;
};

} // namespace Trell

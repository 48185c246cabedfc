#pragma once

// Threading contract
// - The input calls (addCursor, updateCursor, removeCursor, wheelCursor)
//   may come from any thread, usually the platform's input thread. The
//   press timers' onTimer arrives on the thread that handles the timer
//   messages (the host's main loop). Every access to the tracks is under
//   the manager's lock.
// - Lock order: this manager's lock, then the timer manager's locks (arming
//   and stopping a press timer), then the message center's lock. onTimer
//   and removeCursor push while holding the manager's lock, so nobody may
//   hold the center's lock and then call into a manager. The center calls
//   its listener's onMessageAvailable on the pushing thread, here with the
//   manager's lock held: the listener may wake the main loop, never wait
//   for it.
// - The listener and the enable flag may be changed from any thread; a
//   change applies to the events produced after it.
// - initialize/unInitialize and destruction belong to the host's main
//   thread (the surface's owner).

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectList.h>
#include <foundation/CObjectMap.h>
#include <foundation/Export.h>
#include <input/CCursor.h>
#include <platform/CSyncObject.h>
#include <timer/CTimer.h>

#include <atomic>

namespace Trell {

class ITouchListener;

// Tracks the fingers of one surface and turns their events into touch
// messages for the surface's touch listener.
//
// Each finger keeps a track of its last 100 samples; the release carries
// the speed averaged over that whole track. A finger that rests within
// "waver_distance" of its down point gets a repeated move after
// "long_press_delay" and then every "continuous_press_interval" ms, until it
// drifts farther or is lifted (configuration "touch_param", built-in
// defaults 25, 500 and 100 when none is loaded).
//
// Timestamps of 0 mean "now" on the library's tick base. Nothing here
// reports errors: events for an unknown finger, a second down for a finger
// that is down, and every event while disabled (the initial state) are
// dropped.
class ECS_API CCursorManager : public CObject, public ITimerListener
{
    TRELL_DECLARE_ALLOCATOR(u"CCursorManager")

public:
    // One sample of a finger.
    struct tagCursorPoint
    {
        TRELL_DECLARE_ALLOCATOR(u"CCursorManager::tagCursorPoint")

        int x;
        int y;
        unsigned int timestamp;
    };

    // One finger's history.
    struct tagCursorTrack
    {
        TRELL_DECLARE_ALLOCATOR(u"CCursorManager::tagCursorTrack")

        // The samples, oldest first; never more than MAX_POINTS.
        static const unsigned int MAX_POINTS = 100;

        tagCursorTrack() : startX(0), startY(0), xSpeed(0), ySpeed(0), points(true), pressTimer() {}

        int startX;
        int startY;
        int xSpeed;
        int ySpeed;
        CObjectList<tagCursorPoint> points;
        CTimer pressTimer;

    private:
        tagCursorTrack(const tagCursorTrack& other);
        tagCursorTrack& operator=(const tagCursorTrack& other);
    };

    CCursorManager();
    ~CCursorManager() override;

    void reset() override;

    // Nothing to do: the manager is usable once constructed.
    void initialize();
    // Forgets every finger; their press timers stop with them.
    void unInitialize();

    // While disabled every input call returns at once and produces nothing.
    void setEnable(bool bEnable);
    // The receiver of the messages produced from now on (not owned).
    void setTouchListener(ITouchListener* pListener);

    // Finger down, moved, up at a position, up where it last was.
    void addCursor(unsigned int uiID, int iX, int iY, unsigned int uiTimestamp);
    void updateCursor(unsigned int uiID, int iX, int iY, unsigned int uiTimestamp);
    void removeCursor(unsigned int uiID, int iX, int iY, unsigned int uiTimestamp);
    void removeCursor(unsigned int uiID, unsigned int uiTimestamp);
    // One wheel turn: id 0, timestamp 0, the amount in the cursor's distance.
    void wheelCursor(int iX, int iY, int iDistance);

protected:
    CCursorManager(const CCursorManager& other);
    CCursorManager& operator=(const CCursorManager& other);

    // A resting finger's press timer fired.
    void onTimer(const CTimer* pTimer, unsigned int uiCount) override;
    void onTimerComplete(const CTimer* pTimer) override;

    // Wraps the event with the current listener into a touch message and
    // pushes it to the message center.
    void dispatchMessage(unsigned int uiID, int iX, int iXDelta, int iXSpeed, int iY, int iYDelta, int iYSpeed,
                         unsigned int uiTimestamp, CCursor::ETouchStatus eStatus);

private:
    // A ready track for a finger going down at (x, y); null when out of memory.
    tagCursorTrack* obtainTrack(int iX, int iY);
    // Takes a lifted finger's track out of use (lock held).
    void retireTrack(tagCursorTrack* pTrack);
    void freeSpareTracks();

    std::atomic<ITouchListener*> m_pTouchListener;
    std::atomic<bool> m_bEnabled;
    // Cursor id -> track; owns the tracks.
    CObjectMap<unsigned int, tagCursorTrack> m_mapTracks;
    CSyncObject m_syncObject;
    // Tracks of lifted fingers, kept for the next fingers rather than freed:
    // a press timer record may still be in delivery on the main loop when
    // its finger is lifted on another thread, and the timer it points to
    // must outlive that delivery. Bounded by the most fingers ever down at once.
    CObjectList<tagCursorTrack> m_listSpareTracks;
};

} // namespace Trell

#include <input/CCursorManager.h>

#include <configuration/CConfigParser.h>
#include <foundation/CDataArray.h>
#include <input/CMsgTouch.h>
#include <message/CMessageCenter.h>
#include <platform/CAutoSync.h>

#include "message/TickClock.h"

#include <algorithm>
#include <cstdlib>

namespace Trell {

namespace {

struct tagTouchSettings
{
    TRELL_DECLARE_ALLOCATOR(u"tagTouchSettings")

    unsigned int uiWaverDistance;
    unsigned int uiLongPressDelay;
    unsigned int uiContinuousPressInterval;
};

// The configuration's "touch_param", or its defaults when none exists.
// Asking must not create the configuration from the input thread.
tagTouchSettings touchSettings()
{
    if (CConfigParser::hasInstance()) {
        const CConfigParser::tagTouchParam* pParam = CConfigParser::getInstance()->getTouchParam();
        return {pParam->waver_distance, pParam->long_press_delay, pParam->continuous_press_interval};
    }
    return {25, 500, 100};
}

// 0 means "now" on the library's tick base (which the first reading sets).
unsigned int resolveTimestamp(unsigned int uiTimestamp)
{
    return uiTimestamp ? uiTimestamp : TickClock::now();
}

// a - b with the 32-bit wrap of the platform's integers, without the
// undefined behaviour of a signed overflow on absurd coordinates.
int difference(int a, int b)
{
    return static_cast<int>(static_cast<unsigned int>(a) - static_cast<unsigned int>(b));
}

unsigned int magnitude(int iValue)
{
    return static_cast<unsigned int>(std::llabs(iValue));
}

// Pixels per 200 ms between two samples dt ms apart, clamped to +-1000.
// Computed wide: the clamp decides wherever 32 bits would overflow.
int speedOf(int iFrom, int iTo, int iDt)
{
    const long long llSpeed = (static_cast<long long>(iTo) - iFrom) * 200 / iDt;
    return static_cast<int>(std::min(1000LL, std::max(-1000LL, llSpeed)));
}

// Appends a sample (dropping the oldest beyond the bound) and recomputes
// the speeds over the whole retained track.
void addSample(CCursorManager::tagCursorTrack& track, int iX, int iY, unsigned int uiTimestamp)
{
    // At the bound the oldest sample goes and its record becomes the newest.
    CCursorManager::tagCursorPoint* pPoint = nullptr;
    if (track.points.getCount() >= CCursorManager::tagCursorTrack::MAX_POINTS)
        pPoint = track.points.takeFirst();
    else
        pPoint = new CCursorManager::tagCursorPoint;
    if (pPoint) {
        pPoint->x = iX;
        pPoint->y = iY;
        pPoint->timestamp = uiTimestamp;
        if (!track.points.add(pPoint))
            delete pPoint;
    }

    track.xSpeed = 0;
    track.ySpeed = 0;
    if (track.points.getCount() < 2)
        return;
    const CCursorManager::tagCursorPoint* pFirst = track.points.getFirst();
    const CCursorManager::tagCursorPoint* pLast = track.points.getLast();
    const int iDt = static_cast<int>(pLast->timestamp - pFirst->timestamp);
    if (iDt <= 0)
        return;
    track.xSpeed = speedOf(pFirst->x, pLast->x, iDt);
    track.ySpeed = speedOf(pFirst->y, pLast->y, iDt);
}

// The newest sample; the down position when even the first sample could
// not be stored.
CCursorManager::tagCursorPoint lastSample(const CCursorManager::tagCursorTrack& track, unsigned int uiTimestamp)
{
    if (const CCursorManager::tagCursorPoint* pLast = track.points.getLast())
        return *pLast;
    return {track.startX, track.startY, uiTimestamp};
}

void stopPressTimer(CCursorManager::tagCursorTrack& track)
{
    // Stopping purges the message center, so a stopped timer is not stopped again.
    if (track.pressTimer.isRunning())
        track.pressTimer.stop();
}

} // namespace

CCursorManager::CCursorManager()
    : CObject(), ITimerListener(), m_pTouchListener(nullptr), m_bEnabled(false), m_mapTracks(true), m_syncObject(),
      m_listSpareTracks(true)
{}

CCursorManager::~CCursorManager()
{
    // The owning map and spare list delete the tracks; a running press
    // timer leaves the timer manager as it is destroyed.
}

void CCursorManager::reset()
{}

void CCursorManager::initialize()
{}

void CCursorManager::unInitialize()
{
    CAutoSync lock(m_syncObject);
    m_mapTracks.clear();
    freeSpareTracks();
}

void CCursorManager::setEnable(bool bEnable)
{
    m_bEnabled.store(bEnable);
}

void CCursorManager::setTouchListener(ITouchListener* pListener)
{
    m_pTouchListener.store(pListener);
}

void CCursorManager::addCursor(unsigned int uiID, int iX, int iY, unsigned int uiTimestamp)
{
    if (!m_bEnabled.load())
        return;
    uiTimestamp = resolveTimestamp(uiTimestamp);
    {
        CAutoSync lock(m_syncObject);
        // A second down for a finger that is down is dropped.
        if (m_mapTracks.find(uiID))
            return;
        tagCursorTrack* pTrack = obtainTrack(iX, iY);
        if (!pTrack)
            return;
        if (!m_mapTracks.insert(uiID, pTrack)) {
            retireTrack(pTrack);
            return;
        }
        addSample(*pTrack, iX, iY, uiTimestamp);
        // Endless until the finger drifts away or is lifted.
        pTrack->pressTimer.setListener(this);
        pTrack->pressTimer.setDelay(touchSettings().uiLongPressDelay);
        pTrack->pressTimer.setRepeatCount(0);
        pTrack->pressTimer.start();
    }
    dispatchMessage(uiID, iX, 0, 0, iY, 0, 0, uiTimestamp, CCursor::TOUCH_STATUS_PRESS);
}

void CCursorManager::updateCursor(unsigned int uiID, int iX, int iY, unsigned int uiTimestamp)
{
    if (!m_bEnabled.load())
        return;
    uiTimestamp = resolveTimestamp(uiTimestamp);
    int iXDelta = 0;
    int iYDelta = 0;
    {
        CAutoSync lock(m_syncObject);
        tagCursorTrack* pTrack = m_mapTracks.find(uiID);
        if (!pTrack)
            return;
        addSample(*pTrack, iX, iY, uiTimestamp);
        iXDelta = difference(iX, pTrack->startX);
        iYDelta = difference(iY, pTrack->startY);
        // Beyond the distance the finger no longer rests, for good: coming
        // back does not re-arm the repetition.
        const unsigned int uiWaver = touchSettings().uiWaverDistance;
        if (magnitude(iXDelta) > uiWaver || magnitude(iYDelta) > uiWaver)
            stopPressTimer(*pTrack);
    }
    // Speeds travel with the release only.
    dispatchMessage(uiID, iX, iXDelta, 0, iY, iYDelta, 0, uiTimestamp, CCursor::TOUCH_STATUS_MOVE);
}

void CCursorManager::removeCursor(unsigned int uiID, int iX, int iY, unsigned int uiTimestamp)
{
    if (!m_bEnabled.load())
        return;
    uiTimestamp = resolveTimestamp(uiTimestamp);
    {
        CAutoSync lock(m_syncObject);
        tagCursorTrack* pTrack = m_mapTracks.find(uiID);
        if (!pTrack)
            return;
        addSample(*pTrack, iX, iY, uiTimestamp);
        stopPressTimer(*pTrack);
    }
    removeCursor(uiID, uiTimestamp);
}

void CCursorManager::removeCursor(unsigned int uiID, unsigned int uiTimestamp)
{
    if (!m_bEnabled.load())
        return;
    uiTimestamp = resolveTimestamp(uiTimestamp);
    CAutoSync lock(m_syncObject);
    tagCursorTrack* pTrack = m_mapTracks.take(uiID);
    if (!pTrack)
        return;
    stopPressTimer(*pTrack);
    const tagCursorPoint last = lastSample(*pTrack, uiTimestamp);
    // Pushed under the lock, so a release never overtakes the repeated
    // press that onTimer may be pushing for the same finger.
    dispatchMessage(uiID, last.x, difference(last.x, pTrack->startX), pTrack->xSpeed, last.y,
                    difference(last.y, pTrack->startY), pTrack->ySpeed, uiTimestamp, CCursor::TOUCH_STATUS_RELEASE);
    retireTrack(pTrack);
}

void CCursorManager::wheelCursor(int iX, int iY, int iDistance)
{
    if (!m_bEnabled.load())
        return;
    // No track and no lock; the timestamp stays 0.
    CCursor cursor;
    cursor.setTouchStatus(CCursor::TOUCH_STATUS_WHEEL);
    cursor.setX(iX);
    cursor.setY(iY);
    cursor.setDistance(iDistance);
    CMessageCenter::getInstance()->pushMessage(new CMsgTouch(m_pTouchListener.load(), cursor));
}

void CCursorManager::onTimer(const CTimer* pTimer, unsigned int uiCount)
{
    struct tagRepeat
    {
        TRELL_DECLARE_ALLOCATOR(u"CCursorManager::tagRepeat")

        unsigned int uiID;
        tagCursorPoint point;
        int iStartX;
        int iStartY;
    };

    CAutoSync lock(m_syncObject);
    // Gathered first and pushed after the walk: a listener woken by the push
    // may call back into this manager and change the tracks.
    CDataArray<tagRepeat> aryRepeat;
    const unsigned int uiInterval = touchSettings().uiContinuousPressInterval;
    for (auto& entry : m_mapTracks) {
        tagCursorTrack* pTrack = entry.value;
        CTimer& timer = pTrack->pressTimer;
        if (&timer != pTimer)
            continue;
        // A pulse counted before the timer was stopped or re-armed for a
        // later finger is stale: both restart the count.
        if (uiCount > timer.getCurrentCount())
            continue;
        // After the long-press delay the shorter interval, counted from now:
        // the schedule is anchored at its start, and without a restart the
        // pulses the new interval makes overdue would come all at once. A
        // stop and start (not a reset) restarts it under the timer manager's
        // lock, so no check sees the schedule half changed.
        if (timer.getDelay() != uiInterval) {
            timer.stop();
            timer.setDelay(uiInterval);
            timer.start();
        }
        aryRepeat.add(tagRepeat{entry.key, lastSample(*pTrack, 0), pTrack->startX, pTrack->startY});
    }
    // The position and timestamp are the last sample's, not the firing's.
    for (const tagRepeat& repeat : aryRepeat) {
        dispatchMessage(repeat.uiID, repeat.point.x, difference(repeat.point.x, repeat.iStartX), 0, repeat.point.y,
                        difference(repeat.point.y, repeat.iStartY), 0, repeat.point.timestamp,
                        CCursor::TOUCH_STATUS_MOVE);
    }
}

void CCursorManager::onTimerComplete(const CTimer*)
{}

void CCursorManager::dispatchMessage(unsigned int uiID, int iX, int iXDelta, int iXSpeed, int iY, int iYDelta,
                                     int iYSpeed, unsigned int uiTimestamp, CCursor::ETouchStatus eStatus)
{
    CCursor cursor;
    cursor.setID(uiID);
    cursor.setTouchStatus(eStatus);
    cursor.setX(iX);
    cursor.setXDelta(iXDelta);
    cursor.setXSpeed(iXSpeed);
    cursor.setY(iY);
    cursor.setYDelta(iYDelta);
    cursor.setYSpeed(iYSpeed);
    cursor.setDistance(0);
    cursor.setTimestamp(uiTimestamp);
    // A message that cannot be allocated leaves nothing pushed.
    CMessageCenter::getInstance()->pushMessage(new CMsgTouch(m_pTouchListener.load(), cursor));
}

CCursorManager::tagCursorTrack* CCursorManager::obtainTrack(int iX, int iY)
{
    tagCursorTrack* pTrack = m_listSpareTracks.takeFirst();
    if (!pTrack)
        pTrack = new tagCursorTrack();
    if (!pTrack)
        return nullptr;
    pTrack->startX = iX;
    pTrack->startY = iY;
    pTrack->xSpeed = 0;
    pTrack->ySpeed = 0;
    return pTrack;
}

void CCursorManager::retireTrack(tagCursorTrack* pTrack)
{
    stopPressTimer(*pTrack);
    pTrack->points.clear();
    if (!m_listSpareTracks.add(pTrack))
        delete pTrack;
}

void CCursorManager::freeSpareTracks()
{
    m_listSpareTracks.clear();
}

} // namespace Trell

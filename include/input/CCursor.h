#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

// One touch event as a value: a finger (or the wheel) at a position, with
// its displacement from where the finger went down and its speed.
class ECS_API CCursor : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CCursor")

public:
    enum ETouchStatus : unsigned int
    {
        TOUCH_STATUS_NONE = 0,    // a default-constructed cursor only
        TOUCH_STATUS_PRESS = 1,   // finger down
        TOUCH_STATUS_MOVE = 2,    // finger moved, or a resting finger's repeated press
        TOUCH_STATUS_RELEASE = 3, // finger up
        TOUCH_STATUS_WHEEL = 4    // one wheel turn
    };

    // x and y -1, everything else 0.
    CCursor();
    // Copy the ten fields; the copy holds no reference of the source's.
    CCursor(const CCursor& other);
    CCursor& operator=(const CCursor& other);
    ~CCursor() override;

    unsigned int getID() const { return m_uiID; }
    void setID(unsigned int uiID) { m_uiID = uiID; }
    ETouchStatus getTouchStatus() const { return m_eTouchStatus; }
    void setTouchStatus(ETouchStatus eStatus) { m_eTouchStatus = eStatus; }
    int getX() const { return m_iX; }
    void setX(int iX) { m_iX = iX; }
    // x minus the x at which the finger went down.
    int getXDelta() const { return m_iXDelta; }
    void setXDelta(int iDelta) { m_iXDelta = iDelta; }
    // Pixels per 200 ms over the finger's retained track, -1000..1000.
    int getXSpeed() const { return m_iXSpeed; }
    void setXSpeed(int iSpeed) { m_iXSpeed = iSpeed; }
    int getY() const { return m_iY; }
    void setY(int iY) { m_iY = iY; }
    int getYDelta() const { return m_iYDelta; }
    void setYDelta(int iDelta) { m_iYDelta = iDelta; }
    int getYSpeed() const { return m_iYSpeed; }
    void setYSpeed(int iSpeed) { m_iYSpeed = iSpeed; }
    // The wheel amount of a wheel event, 0 otherwise.
    int getDistance() const { return m_iDistance; }
    void setDistance(int iDistance) { m_iDistance = iDistance; }
    // Milliseconds on the library's tick base.
    unsigned int getTimestamp() const { return m_uiTimestamp; }
    void setTimestamp(unsigned int uiTimestamp) { m_uiTimestamp = uiTimestamp; }

private:
    unsigned int m_uiID;
    ETouchStatus m_eTouchStatus;
    int m_iX;
    int m_iXDelta;
    int m_iXSpeed;
    int m_iY;
    int m_iYDelta;
    int m_iYSpeed;
    int m_iDistance;
    unsigned int m_uiTimestamp;
};

} // namespace Trell

#include <input/CCursor.h>

namespace Trell {

CCursor::CCursor()
    : CObject(), m_uiID(0), m_eTouchStatus(TOUCH_STATUS_NONE), m_iX(-1), m_iXDelta(0), m_iXSpeed(0), m_iY(-1),
      m_iYDelta(0), m_iYSpeed(0), m_iDistance(0), m_uiTimestamp(0)
{}

// A value: the copy starts without references, unlike CObject's own copy.
CCursor::CCursor(const CCursor& other)
    : CObject(), m_uiID(other.m_uiID), m_eTouchStatus(other.m_eTouchStatus), m_iX(other.m_iX),
      m_iXDelta(other.m_iXDelta), m_iXSpeed(other.m_iXSpeed), m_iY(other.m_iY), m_iYDelta(other.m_iYDelta),
      m_iYSpeed(other.m_iYSpeed), m_iDistance(other.m_iDistance), m_uiTimestamp(other.m_uiTimestamp)
{}

CCursor& CCursor::operator=(const CCursor& other)
{
    m_uiID = other.m_uiID;
    m_eTouchStatus = other.m_eTouchStatus;
    m_iX = other.m_iX;
    m_iXDelta = other.m_iXDelta;
    m_iXSpeed = other.m_iXSpeed;
    m_iY = other.m_iY;
    m_iYDelta = other.m_iYDelta;
    m_iYSpeed = other.m_iYSpeed;
    m_iDistance = other.m_iDistance;
    m_uiTimestamp = other.m_uiTimestamp;
    return *this;
}

CCursor::~CCursor()
{}

} // namespace Trell

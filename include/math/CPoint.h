#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <cmath>

namespace Trell {

// An integer pixel position. A plain value: no reference count, no
// allocation, copied freely.
class ECS_API CPoint
{
    TRELL_DECLARE_ALLOCATOR(u"CPoint")

public:
    constexpr CPoint() noexcept : m_iX(0), m_iY(0) {}
    constexpr CPoint(int x, int y) noexcept : m_iX(x), m_iY(y) {}

    constexpr int getX() const { return m_iX; }
    constexpr int getY() const { return m_iY; }
    constexpr void setX(int x) { m_iX = x; }
    constexpr void setY(int y) { m_iY = y; }
    constexpr void set(int x, int y)
    {
        m_iX = x;
        m_iY = y;
    }
    constexpr void offset(int dx, int dy)
    {
        m_iX += dx;
        m_iY += dy;
    }

    // In double precision: exact for coordinate differences up to 2^26,
    // never overflowing for any two points.
    constexpr double getDistanceSquared(const CPoint& other) const
    {
        const double dx = static_cast<double>(other.m_iX) - m_iX;
        const double dy = static_cast<double>(other.m_iY) - m_iY;
        return dx * dx + dy * dy;
    }
    float getDistance(const CPoint& other) const { return static_cast<float>(std::sqrt(getDistanceSquared(other))); }

    constexpr bool operator==(const CPoint& other) const { return m_iX == other.m_iX && m_iY == other.m_iY; }
    constexpr bool operator!=(const CPoint& other) const { return !(*this == other); }

private:
    int m_iX;
    int m_iY;
};

} // namespace Trell

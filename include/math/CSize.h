#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Integer x and y extents (width and height). A plain value: no reference
// count, no allocation. getWidth/getHeight read the same fields as getX/getY.
class ECS_API CSize
{
    TRELL_DECLARE_ALLOCATOR(u"CSize")

public:
    constexpr CSize() noexcept : m_iX(0), m_iY(0) {}
    constexpr CSize(int x, int y) noexcept : m_iX(x), m_iY(y) {}

    constexpr int getX() const { return m_iX; }
    constexpr int getY() const { return m_iY; }
    constexpr int getWidth() const { return m_iX; }
    constexpr int getHeight() const { return m_iY; }
    constexpr void setX(int x) { m_iX = x; }
    constexpr void setY(int y) { m_iY = y; }
    constexpr void set(int x, int y)
    {
        m_iX = x;
        m_iY = y;
    }

    constexpr bool operator==(const CSize& other) const { return m_iX == other.m_iX && m_iY == other.m_iY; }
    constexpr bool operator!=(const CSize& other) const { return !(*this == other); }

private:
    int m_iX;
    int m_iY;
};

} // namespace Trell

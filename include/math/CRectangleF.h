#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <math/CPoint.h>
#include <math/CVector2.h>

namespace Trell {

// A float rectangle: x, y, width and height. Unlike CRectangle its edges are
// continuous: the right edge is x + width and the bottom edge y + height,
// and it covers x <= px < x + width, y <= py < y + height (half-open, the
// continuous form of CRectangle's pixel rule). isIntersect needs a strict
// overlap on both axes, so rectangles that only touch do not intersect.
// A width or height that is not above 0 makes the rectangle empty.
// Comparison is exact.
//
// Copies start with a reference count of 0; assignment copies the value
// only. Not synchronised.
class ECS_API CRectangleF : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CRectangleF")

public:
    constexpr CRectangleF() noexcept : CObject(), m_fX(0.0f), m_fY(0.0f), m_fWidth(0.0f), m_fHeight(0.0f) {}
    constexpr CRectangleF(float x, float y, float width, float height) noexcept
        : CObject(), m_fX(x), m_fY(y), m_fWidth(width), m_fHeight(height)
    {}
    constexpr CRectangleF(const CRectangleF& other) noexcept
        : CObject(), m_fX(other.m_fX), m_fY(other.m_fY), m_fWidth(other.m_fWidth), m_fHeight(other.m_fHeight)
    {}
    CRectangleF& operator=(const CRectangleF& other) noexcept
    {
        set(other.m_fX, other.m_fY, other.m_fWidth, other.m_fHeight);
        return *this;
    }

    void set(float x, float y, float width, float height)
    {
        m_fX = x;
        m_fY = y;
        m_fWidth = width;
        m_fHeight = height;
    }
    float getX() const { return m_fX; }
    float getY() const { return m_fY; }
    float getWidth() const { return m_fWidth; }
    float getHeight() const { return m_fHeight; }
    void setX(float x) { m_fX = x; }
    void setY(float y) { m_fY = y; }
    void setWidth(float width) { m_fWidth = width; }
    void setHeight(float height) { m_fHeight = height; }

    float getRight() const { return m_fX + m_fWidth; }
    float getBottom() const { return m_fY + m_fHeight; }
    float getCenterX() const { return m_fX + m_fWidth / 2.0f; }
    float getCenterY() const { return m_fY + m_fHeight / 2.0f; }

    bool isEmpty() const;
    bool ptInRect(const CVector2& p) const;
    bool ptInRect(const CPoint& p) const;
    // r lies inside this one, edges included.
    bool rectInRect(const CRectangleF& r) const;
    bool isIntersect(const CRectangleF& r) const;
    // The overlap, or a zero rectangle when they do not intersect.
    CRectangleF intersect(const CRectangleF& r) const;
    // Grows to the union, or becomes a copy of r when this one is empty.
    void add(const CRectangleF& r);
    void offset(float dx, float dy);
    // x -= left, y -= top, width += left + right, height += top + bottom;
    // deflate does the opposite.
    void inflate(float left, float top, float right, float bottom);
    void deflate(float left, float top, float right, float bottom);

    bool operator==(const CRectangleF& r) const;
    bool operator!=(const CRectangleF& r) const;

private:
    float m_fX;
    float m_fY;
    float m_fWidth;
    float m_fHeight;
};

} // namespace Trell

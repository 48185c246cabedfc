#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <math/CPoint.h>

namespace Trell {

// An integer pixel rectangle: x, y and unsigned width and height, counted in
// whole pixels, so that a width w covers the pixels x to x + w - 1.
//
// Edges follow the last pixel: getRight() is x + width - 1, and x itself for
// a width of 0 (getBottom likewise). In isIntersect (and so in intersect) a
// width or height of 0 deliberately behaves as one pixel: layout code relies
// on a zero-width rectangle still hitting the column it stands on.
// inflate and deflate work on the unsigned extents as they are: shrinking
// past the size wraps, which is the caller's fault. Edge tests are exact
// also where x + width leaves the int range.
//
// Copies start with a reference count of 0; assignment copies the value
// only. Not synchronised.
class ECS_API CRectangle : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CRectangle")

public:
    constexpr CRectangle() noexcept : CObject(), m_iX(0), m_iY(0), m_uiWidth(0), m_uiHeight(0) {}
    constexpr CRectangle(int x, int y, unsigned int width, unsigned int height) noexcept
        : CObject(), m_iX(x), m_iY(y), m_uiWidth(width), m_uiHeight(height)
    {}
    constexpr CRectangle(const CRectangle& other) noexcept
        : CObject(), m_iX(other.m_iX), m_iY(other.m_iY), m_uiWidth(other.m_uiWidth), m_uiHeight(other.m_uiHeight)
    {}
    CRectangle& operator=(const CRectangle& other) noexcept
    {
        set(other.m_iX, other.m_iY, other.m_uiWidth, other.m_uiHeight);
        return *this;
    }

    void set(int x, int y, unsigned int width, unsigned int height)
    {
        m_iX = x;
        m_iY = y;
        m_uiWidth = width;
        m_uiHeight = height;
    }
    int getX() const { return m_iX; }
    int getY() const { return m_iY; }
    unsigned int getWidth() const { return m_uiWidth; }
    unsigned int getHeight() const { return m_uiHeight; }
    void setX(int x) { m_iX = x; }
    void setY(int y) { m_iY = y; }
    void setWidth(unsigned int width) { m_uiWidth = width; }
    void setHeight(unsigned int height) { m_uiHeight = height; }

    int getRight() const;
    int getBottom() const;
    // A right edge left of x moves x there (the old x stays the last pixel);
    // otherwise the width reaches to `right`. setBottom likewise.
    void setRight(int right);
    void setBottom(int bottom);
    // x + width / 2, the unsigned width halved by integer division.
    int getCenterX() const;
    int getCenterY() const;

    // Width or height is 0.
    bool isEmpty() const;
    void clear();
    bool ptInRect(const CPoint& p) const;
    // r lies inside this one, edges included (by x + width, not by the last
    // pixel).
    bool rectInRect(const CRectangle& r) const;
    bool isIntersect(const CRectangle& r) const;
    // The overlap, or a zero rectangle when they do not intersect.
    CRectangle intersect(const CRectangle& r) const;
    // Grows to the union, or becomes a copy of r when this one is empty.
    void add(const CRectangle& r);
    void offset(int dx, int dy);
    // x -= left, y -= top, width += left + right, height += top + bottom;
    // deflate does the opposite.
    void inflate(int left, int top, int right, int bottom);
    void deflate(int left, int top, int right, int bottom);

    bool operator==(const CRectangle& r) const;
    bool operator!=(const CRectangle& r) const;

private:
    int m_iX;
    int m_iY;
    unsigned int m_uiWidth;
    unsigned int m_uiHeight;
};

} // namespace Trell

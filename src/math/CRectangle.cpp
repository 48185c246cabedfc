#include <math/CRectangle.h>

#include <algorithm>

namespace Trell {

namespace {

// Edges are computed in 64 bits so that no sum of a coordinate and an
// extent overflows; results narrow back to int as 32-bit arithmetic wraps.
using Wide = long long;

// The offset of the last pixel: w - 1, and 0 for an empty extent.
inline Wide last(unsigned int extent)
{
    return extent ? static_cast<Wide>(extent) - 1 : 0;
}

// Where the last pixel of an extent starting at origin lies.
inline Wide lastPixel(int origin, unsigned int extent)
{
    return origin + last(extent);
}

inline int narrow(Wide value)
{
    return static_cast<int>(static_cast<unsigned int>(value));
}

// Shared by both axes: setRight/setBottom on (origin, extent).
inline void setLastPixel(int& origin, unsigned int& extent, int edge)
{
    if (edge < origin) {
        extent = static_cast<unsigned int>(static_cast<Wide>(origin) - edge + 1);
        origin = edge;
    } else {
        extent = static_cast<unsigned int>(static_cast<Wide>(edge) - origin + 1);
    }
}

} // namespace

int CRectangle::getRight() const
{
    return narrow(lastPixel(m_iX, m_uiWidth));
}

int CRectangle::getBottom() const
{
    return narrow(lastPixel(m_iY, m_uiHeight));
}

void CRectangle::setRight(int right)
{
    setLastPixel(m_iX, m_uiWidth, right);
}

void CRectangle::setBottom(int bottom)
{
    setLastPixel(m_iY, m_uiHeight, bottom);
}

int CRectangle::getCenterX() const
{
    return narrow(m_iX + static_cast<Wide>(m_uiWidth / 2));
}

int CRectangle::getCenterY() const
{
    return narrow(m_iY + static_cast<Wide>(m_uiHeight / 2));
}

bool CRectangle::isEmpty() const
{
    return m_uiWidth == 0 || m_uiHeight == 0;
}

void CRectangle::clear()
{
    set(0, 0, 0, 0);
}

bool CRectangle::ptInRect(const CPoint& p) const
{
    return m_iX <= p.getX() && p.getX() <= m_iX + static_cast<Wide>(m_uiWidth) - 1 && m_iY <= p.getY() &&
           p.getY() <= m_iY + static_cast<Wide>(m_uiHeight) - 1;
}

bool CRectangle::rectInRect(const CRectangle& r) const
{
    return m_iX <= r.m_iX && r.m_iX + static_cast<Wide>(r.m_uiWidth) <= m_iX + static_cast<Wide>(m_uiWidth) &&
           m_iY <= r.m_iY && r.m_iY + static_cast<Wide>(r.m_uiHeight) <= m_iY + static_cast<Wide>(m_uiHeight);
}

bool CRectangle::isIntersect(const CRectangle& r) const
{
    return lastPixel(m_iX, m_uiWidth) >= r.m_iX && lastPixel(r.m_iX, r.m_uiWidth) >= m_iX &&
           lastPixel(m_iY, m_uiHeight) >= r.m_iY && lastPixel(r.m_iY, r.m_uiHeight) >= m_iY;
}

CRectangle CRectangle::intersect(const CRectangle& r) const
{
    if (!isIntersect(r))
        return CRectangle();
    const Wide x = std::max<Wide>(m_iX, r.m_iX);
    const Wide y = std::max<Wide>(m_iY, r.m_iY);
    const Wide right = std::min(lastPixel(m_iX, m_uiWidth), lastPixel(r.m_iX, r.m_uiWidth));
    const Wide bottom = std::min(lastPixel(m_iY, m_uiHeight), lastPixel(r.m_iY, r.m_uiHeight));
    return CRectangle(narrow(x), narrow(y), static_cast<unsigned int>(right - x + 1),
                      static_cast<unsigned int>(bottom - y + 1));
}

void CRectangle::add(const CRectangle& r)
{
    if (isEmpty()) {
        *this = r;
        return;
    }
    const Wide x = std::min<Wide>(m_iX, r.m_iX);
    const Wide y = std::min<Wide>(m_iY, r.m_iY);
    const Wide right = std::max(lastPixel(m_iX, m_uiWidth), lastPixel(r.m_iX, r.m_uiWidth));
    const Wide bottom = std::max(lastPixel(m_iY, m_uiHeight), lastPixel(r.m_iY, r.m_uiHeight));
    set(narrow(x), narrow(y), static_cast<unsigned int>(right - x + 1), static_cast<unsigned int>(bottom - y + 1));
}

void CRectangle::offset(int dx, int dy)
{
    m_iX = narrow(static_cast<Wide>(m_iX) + dx);
    m_iY = narrow(static_cast<Wide>(m_iY) + dy);
}

void CRectangle::inflate(int left, int top, int right, int bottom)
{
    m_iX = narrow(static_cast<Wide>(m_iX) - left);
    m_iY = narrow(static_cast<Wide>(m_iY) - top);
    m_uiWidth += static_cast<unsigned int>(left) + static_cast<unsigned int>(right);
    m_uiHeight += static_cast<unsigned int>(top) + static_cast<unsigned int>(bottom);
}

void CRectangle::deflate(int left, int top, int right, int bottom)
{
    m_iX = narrow(static_cast<Wide>(m_iX) + left);
    m_iY = narrow(static_cast<Wide>(m_iY) + top);
    m_uiWidth -= static_cast<unsigned int>(left) + static_cast<unsigned int>(right);
    m_uiHeight -= static_cast<unsigned int>(top) + static_cast<unsigned int>(bottom);
}

bool CRectangle::operator==(const CRectangle& r) const
{
    return m_iX == r.m_iX && m_iY == r.m_iY && m_uiWidth == r.m_uiWidth && m_uiHeight == r.m_uiHeight;
}

bool CRectangle::operator!=(const CRectangle& r) const
{
    return !(*this == r);
}

} // namespace Trell

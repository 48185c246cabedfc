#include <math/CRectangleF.h>

#include <algorithm>

namespace Trell {

bool CRectangleF::isEmpty() const
{
    // Written so that NaN extents count as empty too.
    return !(m_fWidth > 0.0f) || !(m_fHeight > 0.0f);
}

bool CRectangleF::ptInRect(const CVector2& p) const
{
    return m_fX <= p.x && p.x < getRight() && m_fY <= p.y && p.y < getBottom();
}

bool CRectangleF::ptInRect(const CPoint& p) const
{
    return ptInRect(CVector2(static_cast<float>(p.getX()), static_cast<float>(p.getY())));
}

bool CRectangleF::rectInRect(const CRectangleF& r) const
{
    return m_fX <= r.m_fX && r.getRight() <= getRight() && m_fY <= r.m_fY && r.getBottom() <= getBottom();
}

bool CRectangleF::isIntersect(const CRectangleF& r) const
{
    return r.m_fX < getRight() && m_fX < r.getRight() && r.m_fY < getBottom() && m_fY < r.getBottom();
}

CRectangleF CRectangleF::intersect(const CRectangleF& r) const
{
    if (!isIntersect(r))
        return CRectangleF();
    const float x = std::max(m_fX, r.m_fX);
    const float y = std::max(m_fY, r.m_fY);
    return CRectangleF(x, y, std::min(getRight(), r.getRight()) - x, std::min(getBottom(), r.getBottom()) - y);
}

void CRectangleF::add(const CRectangleF& r)
{
    if (isEmpty()) {
        *this = r;
        return;
    }
    const float x = std::min(m_fX, r.m_fX);
    const float y = std::min(m_fY, r.m_fY);
    set(x, y, std::max(getRight(), r.getRight()) - x, std::max(getBottom(), r.getBottom()) - y);
}

void CRectangleF::offset(float dx, float dy)
{
    m_fX += dx;
    m_fY += dy;
}

void CRectangleF::inflate(float left, float top, float right, float bottom)
{
    m_fX -= left;
    m_fY -= top;
    m_fWidth += left + right;
    m_fHeight += top + bottom;
}

void CRectangleF::deflate(float left, float top, float right, float bottom)
{
    inflate(-left, -top, -right, -bottom);
}

bool CRectangleF::operator==(const CRectangleF& r) const
{
    return m_fX == r.m_fX && m_fY == r.m_fY && m_fWidth == r.m_fWidth && m_fHeight == r.m_fHeight;
}

bool CRectangleF::operator!=(const CRectangleF& r) const
{
    return !(*this == r);
}

} // namespace Trell

#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CVector3.h>

namespace Trell {

// An axis-aligned box, closed: it contains its faces. The constructor and
// set() take any two opposite corners and order them per axis, so minimum <=
// maximum always holds and a flat box (a face, an edge, a point) is valid.
// A plain value: no reference count, no allocation.
class ECS_API CBox
{
    TRELL_DECLARE_ALLOCATOR(u"CBox")

public:
    // The single point at the origin.
    constexpr CBox() noexcept : m_vMin(), m_vMax() {}
    constexpr CBox(const CVector3& a, const CVector3& b) noexcept : m_vMin(), m_vMax() { set(a, b); }

    constexpr void set(const CVector3& a, const CVector3& b)
    {
        m_vMin = CVector3(a.x < b.x ? a.x : b.x, a.y < b.y ? a.y : b.y, a.z < b.z ? a.z : b.z);
        m_vMax = CVector3(a.x < b.x ? b.x : a.x, a.y < b.y ? b.y : a.y, a.z < b.z ? b.z : a.z);
    }
    constexpr const CVector3& getMin() const { return m_vMin; }
    constexpr const CVector3& getMax() const { return m_vMax; }
    constexpr CVector3 getCenter() const { return (m_vMin + m_vMax) * 0.5f; }
    constexpr CVector3 getSize() const { return m_vMax - m_vMin; }
    // Grows to cover p as well.
    constexpr void extend(const CVector3& p)
    {
        m_vMin =
            CVector3(p.x < m_vMin.x ? p.x : m_vMin.x, p.y < m_vMin.y ? p.y : m_vMin.y, p.z < m_vMin.z ? p.z : m_vMin.z);
        m_vMax =
            CVector3(p.x > m_vMax.x ? p.x : m_vMax.x, p.y > m_vMax.y ? p.y : m_vMax.y, p.z > m_vMax.z ? p.z : m_vMax.z);
    }

    constexpr bool operator==(const CBox& b) const { return m_vMin == b.m_vMin && m_vMax == b.m_vMax; }
    constexpr bool operator!=(const CBox& b) const { return !(*this == b); }

private:
    CVector3 m_vMin;
    CVector3 m_vMax;
};

} // namespace Trell

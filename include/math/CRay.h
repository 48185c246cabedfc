#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CVector3.h>

namespace Trell {

// A half line from an origin along a direction. The direction is kept as
// given (not normalised), so hit distances are in units of its length. The
// ray also keeps the reciprocal of each direction component (0 where the
// component is 0) for the slab test of CHitTest::rayBox. A plain value: no
// reference count, no allocation.
class ECS_API CRay
{
    TRELL_DECLARE_ALLOCATOR(u"CRay")

public:
    // From the origin along +z.
    constexpr CRay() noexcept : m_vOrigin(), m_vDirection(0.0f, 0.0f, 1.0f), m_vInverse(0.0f, 0.0f, 1.0f) {}
    constexpr CRay(const CVector3& origin, const CVector3& direction) noexcept
        : m_vOrigin(origin), m_vDirection(direction), m_vInverse(inverseOf(direction))
    {}

    constexpr const CVector3& getOrigin() const { return m_vOrigin; }
    constexpr const CVector3& getDirection() const { return m_vDirection; }
    constexpr const CVector3& getInverseDirection() const { return m_vInverse; }
    constexpr void setOrigin(const CVector3& origin) { m_vOrigin = origin; }
    constexpr void setDirection(const CVector3& direction)
    {
        m_vDirection = direction;
        m_vInverse = inverseOf(direction);
    }
    // origin + direction * t.
    constexpr CVector3 getPoint(float t) const { return m_vOrigin + m_vDirection * t; }

private:
    static constexpr float reciprocal(float f) { return f == 0.0f ? 0.0f : 1.0f / f; }
    static constexpr CVector3 inverseOf(const CVector3& d)
    {
        return CVector3(reciprocal(d.x), reciprocal(d.y), reciprocal(d.z));
    }

    CVector3 m_vOrigin;
    CVector3 m_vDirection;
    CVector3 m_vInverse;
};

} // namespace Trell

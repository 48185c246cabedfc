#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CVector3.h>

namespace Trell {

// The plane of the points p with normal . p + d = 0; the normal points to
// the positive side. getDistance is a true distance only for a normal of
// length 1 (which setFromPoints and normalize give); otherwise it is scaled
// by the normal's length. A plain value: no reference count, no allocation.
class ECS_API CPlane
{
    TRELL_DECLARE_ALLOCATOR(u"CPlane")

public:
    // The plane z = 0, facing +z.
    constexpr CPlane() noexcept : m_vNormal(0.0f, 0.0f, 1.0f), m_fD(0.0f) {}
    constexpr CPlane(const CVector3& normal, float d) noexcept : m_vNormal(normal), m_fD(d) {}
    // Through `point`, normal as given.
    constexpr CPlane(const CVector3& normal, const CVector3& point) noexcept
        : m_vNormal(normal), m_fD(-normal.dot(point))
    {}

    constexpr const CVector3& getNormal() const { return m_vNormal; }
    constexpr float getD() const { return m_fD; }

    // Through three points, facing the side from which they run
    // counter-clockwise, with a unit normal. False when they lie on one line
    // (or coincide), leaving the plane as it was.
    bool setFromPoints(const CVector3& a, const CVector3& b, const CVector3& c);
    // Scales normal and d so that the normal has length 1; false (and no
    // change) for a zero normal.
    bool normalize();

    // Signed: positive on the side the normal points to.
    constexpr float getDistance(const CVector3& p) const { return m_vNormal.dot(p) + m_fD; }

private:
    CVector3 m_vNormal;
    float m_fD;
};

} // namespace Trell

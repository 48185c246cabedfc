#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CBox.h>
#include <math/CMath.h>
#include <math/CPlane.h>
#include <math/CRay.h>
#include <math/CVector2.h>
#include <math/CVector3.h>

namespace Trell {

// Hit tests between rays, planes, triangles, boxes and points. Static only,
// reentrant.
//
// One tolerance, EPSILON_VALUE (0.001, as CMath::LOW_EPSILON): a ray is
// parallel to a plane or a triangle when the cosine of the angle between its
// direction and their normal is below it in magnitude (within about 0.057
// degrees of grazing), whatever the lengths involved; such a ray misses. A
// zero direction, a zero plane normal and a degenerate triangle count as
// parallel. Everything else is exact: boxes are closed (touching counts),
// triangles include their edges, and a hit needs t >= 0.
//
// t comes back in units of the ray's direction length (hit point =
// ray.getPoint(t)) and is written only on a hit.
class ECS_API CHitTest
{
    TRELL_DECLARE_ALLOCATOR(u"CHitTest")

public:
    static constexpr float EPSILON_VALUE = CMath::LOW_EPSILON;

    static bool rayPlane(const CRay& ray, const CPlane& plane, float& t);
    // Both faces count. barycentric (u, v) places the hit at a + u (b - a) +
    // v (c - a).
    static bool rayTriangle(const CRay& ray, const CVector3& a, const CVector3& b, const CVector3& c, float& t);
    static bool rayTriangle(const CRay& ray, const CVector3& a, const CVector3& b, const CVector3& c, float& t,
                            CVector2& barycentric);
    // A ray that starts inside the box hits it at t = 0. Along an axis where
    // the direction is 0 the ray hits only if its origin lies within the
    // box's extent on that axis.
    static bool rayBox(const CRay& ray, const CBox& box, float& t);
    // The index of the box among `count` that the ray hits first (the lowest
    // index on a tie), with its t; -1 when it hits none.
    static int rayNearestBox(const CRay& ray, const CBox* boxes, unsigned int count, float& t);
    static bool boxBox(const CBox& a, const CBox& b);
    static bool pointInBox(const CVector3& p, const CBox& box);

private:
    CHitTest() = delete;
};

} // namespace Trell

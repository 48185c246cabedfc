#include <math/CHitTest.h>

#include <limits>

namespace Trell {

namespace {

constexpr float EPSILON_SQUARED = CHitTest::EPSILON_VALUE * CHitTest::EPSILON_VALUE;

// Narrows [tNear, tFar] to the part of the ray inside one slab of a box.
inline bool clipSlab(float origin, float direction, float inverse, float low, float high, float& tNear,
                     float& tFar)
{
    if (direction == 0.0f)
        return origin >= low && origin <= high;
    const float t1 = (low - origin) * inverse;
    const float t2 = (high - origin) * inverse;
    const float enter = t1 < t2 ? t1 : t2;
    const float leave = t1 < t2 ? t2 : t1;
    tNear = enter > tNear ? enter : tNear;
    tFar = leave < tFar ? leave : tFar;
    return tNear <= tFar;
}

inline bool slabTest(const CRay& ray, const CBox& box, float& t)
{
    const CVector3& o = ray.getOrigin();
    const CVector3& d = ray.getDirection();
    const CVector3& inv = ray.getInverseDirection();
    float tNear = 0.0f;
    float tFar = std::numeric_limits<float>::infinity();
    if (!clipSlab(o.x, d.x, inv.x, box.getMin().x, box.getMax().x, tNear, tFar) ||
        !clipSlab(o.y, d.y, inv.y, box.getMin().y, box.getMax().y, tNear, tFar) ||
        !clipSlab(o.z, d.z, inv.z, box.getMin().z, box.getMax().z, tNear, tFar))
        return false;
    t = tNear;
    return true;
}

} // namespace

bool CHitTest::rayPlane(const CRay& ray, const CPlane& plane, float& t)
{
    const CVector3& n = plane.getNormal();
    const CVector3& d = ray.getDirection();
    const float along = n.dot(d);
    // |cos| <= EPSILON_VALUE, squared to avoid the roots.
    if (!(along * along > EPSILON_SQUARED * n.getLengthSquared() * d.getLengthSquared()))
        return false;
    const float hit = -plane.getDistance(ray.getOrigin()) / along;
    if (!(hit >= 0.0f))
        return false;
    t = hit;
    return true;
}

bool CHitTest::rayTriangle(const CRay& ray, const CVector3& a, const CVector3& b, const CVector3& c, float& t)
{
    CVector2 barycentric;
    return rayTriangle(ray, a, b, c, t, barycentric);
}

bool CHitTest::rayTriangle(const CRay& ray, const CVector3& a, const CVector3& b, const CVector3& c, float& t,
                           CVector2& barycentric)
{
    // Moeller-Trumbore. det is -direction . normal.
    const CVector3& d = ray.getDirection();
    const CVector3 e1 = b - a, e2 = c - a;
    const CVector3 p = d.cross(e2);
    const float det = e1.dot(p);
    if (!(det * det > EPSILON_SQUARED * d.getLengthSquared() * e1.cross(e2).getLengthSquared()))
        return false;
    const float f = 1.0f / det;
    const CVector3 s = ray.getOrigin() - a;
    const float u = s.dot(p) * f;
    if (u < 0.0f || u > 1.0f)
        return false;
    const CVector3 q = s.cross(e1);
    const float v = d.dot(q) * f;
    if (v < 0.0f || u + v > 1.0f)
        return false;
    const float hit = e2.dot(q) * f;
    if (!(hit >= 0.0f))
        return false;
    t = hit;
    barycentric = CVector2(u, v);
    return true;
}

bool CHitTest::rayBox(const CRay& ray, const CBox& box, float& t)
{
    return slabTest(ray, box, t);
}

int CHitTest::rayNearestBox(const CRay& ray, const CBox* boxes, unsigned int count, float& t)
{
    int nearest = -1;
    float best = std::numeric_limits<float>::infinity();
    for (unsigned int i = 0; i < count; ++i) {
        float hit;
        if (slabTest(ray, boxes[i], hit) && hit < best) {
            best = hit;
            nearest = static_cast<int>(i);
        }
    }
    if (nearest >= 0)
        t = best;
    return nearest;
}

bool CHitTest::boxBox(const CBox& a, const CBox& b)
{
    const CVector3 &aMin = a.getMin(), &aMax = a.getMax(), &bMin = b.getMin(), &bMax = b.getMax();
    return aMin.x <= bMax.x && bMin.x <= aMax.x && aMin.y <= bMax.y && bMin.y <= aMax.y && aMin.z <= bMax.z &&
           bMin.z <= aMax.z;
}

bool CHitTest::pointInBox(const CVector3& p, const CBox& box)
{
    const CVector3 &lo = box.getMin(), &hi = box.getMax();
    return p.x >= lo.x && p.x <= hi.x && p.y >= lo.y && p.y <= hi.y && p.z >= lo.z && p.z <= hi.z;
}

} // namespace Trell

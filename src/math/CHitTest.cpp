#include <math/CHitTest.h>

#include <cstddef>
#include <limits>

// Many boxes against one ray run three lanes at a time where SSE2 is there
// (every x86-64 build, 32-bit builds with SSE2 enabled).
#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define ECS_MATH_SSE2 1
#include <emmintrin.h>
#else
#define ECS_MATH_SSE2 0
#endif

namespace Trell {

namespace {

constexpr float EPSILON_SQUARED = CHitTest::EPSILON_VALUE * CHitTest::EPSILON_VALUE;

// Where the ray enters and leaves one slab of a box, for a direction
// component that is not 0.
inline void crossSlab(float origin, float inverse, float low, float high, float& enter, float& leave)
{
    const float t1 = (low - origin) * inverse;
    const float t2 = (high - origin) * inverse;
    enter = t1 < t2 ? t1 : t2;
    leave = t1 < t2 ? t2 : t1;
}

// Narrows [tNear, tFar] to the part of the ray inside one slab of a box.
inline bool clipSlab(float origin, float direction, float inverse, float low, float high, float& tNear, float& tFar)
{
    if (direction == 0.0f)
        return origin >= low && origin <= high;
    float enter, leave;
    crossSlab(origin, inverse, low, high, enter, leave);
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

// slabTest for a direction without zero components, with no early exits:
// the same values, fewer mispredicted branches over many boxes.
inline bool slabTestOblique(const CVector3& o, const CVector3& inv, const CBox& box, float& t)
{
    float enterX, leaveX, enterY, leaveY, enterZ, leaveZ;
    crossSlab(o.x, inv.x, box.getMin().x, box.getMax().x, enterX, leaveX);
    crossSlab(o.y, inv.y, box.getMin().y, box.getMax().y, enterY, leaveY);
    crossSlab(o.z, inv.z, box.getMin().z, box.getMax().z, enterZ, leaveZ);
    float tNear = enterX > 0.0f ? enterX : 0.0f;
    tNear = enterY > tNear ? enterY : tNear;
    tNear = enterZ > tNear ? enterZ : tNear;
    float tFar = leaveX < std::numeric_limits<float>::infinity() ? leaveX : std::numeric_limits<float>::infinity();
    tFar = leaveY < tFar ? leaveY : tFar;
    tFar = leaveZ < tFar ? leaveZ : tFar;
    t = tNear;
    return tNear <= tFar;
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
    const CVector3& d = ray.getDirection();
    unsigned int i = 0;
    if (d.x != 0.0f && d.y != 0.0f && d.z != 0.0f) {
        const CVector3 o = ray.getOrigin(), inv = ray.getInverseDirection();
#if ECS_MATH_SSE2
        // One box per step: minimum and maximum corner as (x, y, z, next
        // float), the fourth lane masked to enter at 0 and leave at infinity,
        // so that it stands for the ray's own start. Same formulas as the
        // plain loop. The last box is left to it, as its second load would
        // read past the array.
        static_assert(sizeof(CBox) == 6 * sizeof(float), "boxes are read as packed floats");
        const __m128 o4 = _mm_setr_ps(o.x, o.y, o.z, 0.0f), inv4 = _mm_setr_ps(inv.x, inv.y, inv.z, 0.0f);
        const __m128 xyz = _mm_castsi128_ps(_mm_setr_epi32(-1, -1, -1, 0));
        const __m128 farLane = _mm_setr_ps(0.0f, 0.0f, 0.0f, std::numeric_limits<float>::infinity());
        for (; i + 1 < count; ++i) {
            const float* p = &boxes[i].getMin().x;
            const __m128 t1 = _mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(p), o4), inv4);
            const __m128 t2 = _mm_mul_ps(_mm_sub_ps(_mm_loadu_ps(p + 3), o4), inv4);
            const __m128 enter = _mm_and_ps(_mm_min_ps(t1, t2), xyz);
            const __m128 leave = _mm_or_ps(_mm_and_ps(_mm_max_ps(t2, t1), xyz), farLane);
            __m128 tNear = _mm_max_ps(enter, _mm_movehl_ps(enter, enter));
            tNear = _mm_max_ss(tNear, _mm_shuffle_ps(tNear, tNear, _MM_SHUFFLE(1, 1, 1, 1)));
            __m128 tFar = _mm_min_ps(leave, _mm_movehl_ps(leave, leave));
            tFar = _mm_min_ss(tFar, _mm_shuffle_ps(tFar, tFar, _MM_SHUFFLE(1, 1, 1, 1)));
            const float hit = _mm_cvtss_f32(tNear);
            if (hit <= _mm_cvtss_f32(tFar) && hit < best) {
                best = hit;
                nearest = static_cast<int>(i);
            }
        }
#endif
        for (; i < count; ++i) {
            float hit;
            const bool inside = slabTestOblique(o, inv, boxes[i], hit);
            if (inside && hit < best) {
                best = hit;
                nearest = static_cast<int>(i);
            }
        }
    } else {
        for (; i < count; ++i) {
            float hit;
            if (slabTest(ray, boxes[i], hit) && hit < best) {
                best = hit;
                nearest = static_cast<int>(i);
            }
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

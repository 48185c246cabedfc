// The geometry classes against GLM as the reference (header-only, tests
// only; the library never includes GLM): vectors, matrices, quaternions and
// hit tests, each on random input and on its degenerate cases.

#include <math/CHitTest.h>
#include <math/CMatrix3.h>
#include <math/CMatrix4.h>
#include <math/CPoint.h>
#include <math/CQuaternion.h>
#include <math/CVector2.h>
#include <math/CVector3.h>
#include <math/CVector4.h>

#include <gtest/gtest.h>

#define GLM_ENABLE_EXPERIMENTAL
#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/gtx/intersect.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <vector>

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

using namespace Trell;

namespace {

inline glm::vec3 toGlm(const CVector3& v)
{
    return glm::vec3(v.x, v.y, v.z);
}
inline glm::quat toGlm(const CQuaternion& q)
{
    return glm::quat(q.w, q.x, q.y, q.z);
}
inline glm::mat4 toGlm(const CMatrix4& m)
{
    glm::mat4 r;
    std::memcpy(&r[0][0], m.getData(), sizeof(r)); // both column-major
    return r;
}

// The differential tolerance: relative, or absolute below `scale`. The two
// sides round a few dozen operations in different orders.
inline ::testing::AssertionResult near(const float* ours, const float* reference, int count, float scale = 1.0f)
{
    for (int i = 0; i < count; ++i) {
        if (!(std::fabs(ours[i] - reference[i]) <= 1e-4f * std::max(scale, std::fabs(reference[i]))))
            return ::testing::AssertionFailure() << "component " << i << ": " << ours[i] << " vs " << reference[i];
    }
    return ::testing::AssertionSuccess();
}
inline ::testing::AssertionResult near(float ours, float reference)
{
    return near(&ours, &reference, 1);
}
inline ::testing::AssertionResult near(const CVector3& ours, const glm::vec3& reference)
{
    return near(&ours.x, &reference.x, 3);
}
inline ::testing::AssertionResult near(const CMatrix4& ours, const glm::mat4& reference)
{
    return near(ours.getData(), &reference[0][0], 16);
}

// A fixed seed, so that a failure reproduces.
class CRandom
{
public:
    float next(float low = -10.0f, float high = 10.0f) { return std::uniform_real_distribution(low, high)(m_engine); }
    CVector3 vector(float range = 10.0f)
    {
        return CVector3(next(-range, range), next(-range, range), next(-range, range));
    }
    // Random entries with 5 added on the diagonal: diagonally dominant, so
    // invertible and well conditioned, and an inverse is accurate to the tolerance.
    CMatrix4 matrix()
    {
        CMatrix4 m;
        for (unsigned int i = 0; i < 16; ++i)
            m.getData()[i] = next(-1.0f, 1.0f) + (i % 5 == 0 ? 5.0f : 0.0f);
        return m;
    }

private:
    std::mt19937 m_engine{17};
};

// q and -q are the same rotation.
::testing::AssertionResult sameRotation(const CQuaternion& q, const glm::quat& g)
{
    const float s = q.dot(CQuaternion(g.x, g.y, g.z, g.w)) < 0.0f ? -1.0f : 1.0f;
    const CQuaternion signed_(q.x * s, q.y * s, q.z * s, q.w * s);
    return near(&signed_.x, &g.x, 4);
}

// The slab test in double precision over GLM vectors: the reference for ray-box.
bool referenceRayBox(const CRay& ray, const CBox& box, double& t)
{
    const glm::dvec3 o(toGlm(ray.getOrigin())), d(toGlm(ray.getDirection()));
    const glm::dvec3 t1 = (glm::dvec3(toGlm(box.getMin())) - o) / d, t2 = (glm::dvec3(toGlm(box.getMax())) - o) / d;
    const glm::dvec3 lo = glm::min(t1, t2), hi = glm::max(t1, t2);
    t = std::max({lo.x, lo.y, lo.z, 0.0});
    return t <= std::min({hi.x, hi.y, hi.z});
}

bool ordered(const CVector3& low, const CVector3& high)
{
    return glm::all(glm::lessThanEqual(toGlm(low), toGlm(high)));
}

constexpr CMatrix4 MOVE(CVector4(1, 0, 0, 0), CVector4(0, 1, 0, 0), CVector4(0, 0, 1, 0), CVector4(7, 8, 9, 1));
// Column-major: the translation sits in elements 12..14, read as (row, column 3).
static_assert(MOVE.getData()[13] == 8.0f && MOVE.get(2, 3) == 9.0f && MOVE.getRow(3).w == 1.0f);
static_assert(MOVE.getTransposed().get(3, 0) == 7.0f && MOVE.transformPoint(CVector3(1, 1, 1)).z == 10.0f);
static_assert(MOVE.transformDirection(CVector3(1, 1, 1)).z == 1.0f && CMatrix4().getColumn(3) == CVector4(0, 0, 0, 1));
static_assert(CMatrix3(MOVE) == CMatrix3() && CMatrix3(MOVE).getMatrix4() == CMatrix4());

} // namespace

static_assert(CVector3(1, 0, 0).cross(CVector3(0, 1, 0)) == CVector3(0, 0, 1)); // right-handed

TEST(CVector, AgreesWithGlmOnRandomVectors)
{
    CRandom random;
    for (int i = 0; i < 300; ++i) {
        const CVector3 a = random.vector(), b = random.vector();
        const float t = random.next(-1.0f, 2.0f);
        const glm::vec3 ga = toGlm(a), gb = toGlm(b);
        EXPECT_TRUE(near(a.dot(b), glm::dot(ga, gb)) && near(a.cross(b), glm::cross(ga, gb)));
        EXPECT_TRUE(near(a.getLength(), glm::length(ga)) && near(a.getDistance(b), glm::distance(ga, gb)));
        EXPECT_TRUE(near(a.getNormalized(), glm::normalize(ga)) && near(CVector3::lerp(a, b, t), glm::mix(ga, gb, t)));
        EXPECT_TRUE(near((a + b) * 2.0f - b / 0.5f + (-a) * b, (ga + gb) * 2.0f - gb / 0.5f + (-ga) * gb));

        const CVector2 a2(a.x, a.y), b2(b.x, b.y), u2 = a2.getNormalized(), sum2 = (a2 + b2 - b2 * 0.5f) / 2.0f;
        const glm::vec2 g2(a.x, a.y), h2(b.x, b.y), gu2 = glm::normalize(g2), gsum2 = (g2 + h2 * 0.5f) / 2.0f;
        EXPECT_TRUE(near(&u2.x, &gu2.x, 2) && near(&sum2.x, &gsum2.x, 2) &&
                    near(a2.getDistance(b2), glm::distance(g2, h2)));

        CVector4 a4(a, t);
        const glm::vec4 g4(ga, t), gu4 = glm::normalize(g4);
        EXPECT_TRUE(near(a4.dot(CVector4(b, 1.0f)), glm::dot(g4, glm::vec4(gb, 1.0f))));
        EXPECT_TRUE(near(a4.normalize(), glm::length(g4)) && near(&a4.x, &gu4.x, 4));
    }
}

TEST(CVector, ZeroLengthStaysZeroAndPointsMeasureExactly)
{
    CVector2 v2;
    CVector3 v3;
    CVector4 v4;
    EXPECT_TRUE(v2.normalize() + v3.normalize() + v4.normalize() == 0.0f && v2 == CVector2() && v3 == CVector3() &&
                v4 == CVector4() && CVector3().getNormalized() == v3);

    EXPECT_EQ(CPoint(1, 2).getDistance(CPoint(4, 6)), 5.0f);
    EXPECT_EQ(CPoint(INT_MIN, INT_MIN).getDistanceSquared(CPoint(INT_MAX, INT_MAX)), 2 * 4294967295.0 * 4294967295.0);
    EXPECT_EQ(CPoint(-50000000, 3).getDistanceSquared(CPoint(17000000, 4)), 67000000.0 * 67000000.0 + 1);
}

TEST(CMatrix4, AgreesWithGlmOnRandomMatrices)
{
    CRandom random;
    const glm::mat4 identity(1.0f);
    for (int i = 0; i < 300; ++i) {
        const CMatrix4 a = random.matrix(), b = random.matrix();
        const CVector3 p = random.vector(), axis = random.vector(), eye = random.vector(), center = random.vector();
        const CVector4 v(p, random.next()), av = a * v;
        const glm::mat4 ga = toGlm(a);
        const glm::vec4 gv = ga * glm::vec4(v.x, v.y, v.z, v.w);
        CMatrix4 product = a, inverse;
        product *= b;
        EXPECT_TRUE(near(product, ga * toGlm(b)) && product == a * b);
        EXPECT_TRUE(near(&av.x, &gv.x, 4) && near(a.getTransposed(), glm::transpose(ga)));
        EXPECT_TRUE(near(a.transformPoint(p), glm::vec3(ga * glm::vec4(toGlm(p), 1.0f))));
        EXPECT_TRUE(near(a.transformDirection(p), glm::vec3(ga * glm::vec4(toGlm(p), 0.0f))));
        EXPECT_TRUE(near(a.getDeterminant(), glm::determinant(ga)));
        ASSERT_TRUE(a.getInverse(inverse));
        EXPECT_TRUE(near(inverse, glm::inverse(ga)));

        const CMatrix3 a3(a), b3(b);
        const glm::mat3 g3(ga), product3 = g3 * glm::mat3(toGlm(b)), inverse3g = glm::inverse(g3);
        CMatrix3 inverse3;
        EXPECT_TRUE(near((a3 * b3).getData(), &product3[0][0], 9) && near(a3 * p, g3 * toGlm(p)));
        EXPECT_TRUE(near(a3.getDeterminant(), glm::determinant(g3)));
        ASSERT_TRUE(a3.getInverse(inverse3));
        EXPECT_TRUE(near(inverse3.getData(), &inverse3g[0][0], 9));

        // The builders; the post-multiplying ones as glm::translate(m, v) and friends.
        const float angle = random.next(-6.0f, 6.0f), fov = random.next(0.1f, 3.0f), aspect = random.next(0.2f, 4.0f);
        const float zNear = random.next(0.01f, 1.0f), zFar = zNear + random.next(1.0f, 1000.0f);
        CMatrix4 m;
        m.setTranslation(p);
        EXPECT_TRUE(near(m, glm::translate(identity, toGlm(p))));
        m.setScale(p);
        EXPECT_TRUE(near(m, glm::scale(identity, toGlm(p))));
        ASSERT_TRUE(m.setRotation(angle, axis));
        EXPECT_TRUE(near(m, glm::rotate(identity, angle, toGlm(axis))));
        ASSERT_TRUE(m.setLookAt(eye, center, axis));
        EXPECT_TRUE(near(m.getData(), &glm::lookAt(toGlm(eye), toGlm(center), toGlm(axis))[0][0], 16, 10.0f));
        ASSERT_TRUE(m.setPerspective(fov, aspect, zNear, zFar));
        EXPECT_TRUE(near(m, glm::perspective(fov, aspect, zNear, zFar)));
        ASSERT_TRUE(m.setOrthographic(-p.x, p.y, -p.z, p.x, zNear, zFar));
        EXPECT_TRUE(near(m, glm::ortho(-p.x, p.y, -p.z, p.x, zNear, zFar)));
        const glm::mat4 expected =
            glm::scale(glm::rotate(glm::translate(ga, toGlm(p)), angle, toGlm(axis)), toGlm(axis));
        m = a;
        m.translate(p);
        ASSERT_TRUE(m.rotate(angle, axis));
        m.scale(axis);
        EXPECT_TRUE(near(m.getData(), &expected[0][0], 16, 10.0f));
    }
    // In bulk as one by one, also in place.
    const CMatrix4 m = random.matrix();
    CVector3 points[37], out[37];
    for (CVector3& p : points)
        p = random.vector();
    m.transformPoints(points, out, 37);
    for (int i = 0; i < 37; ++i)
        EXPECT_TRUE(out[i] == m.transformPoint(points[i])) << i;
    m.transformPoints(points, points, 37);
    EXPECT_TRUE(points[36] == out[36] && points[0] == out[0]);
}

TEST(CMatrix4, DegenerateInputsAreReportedAndLeaveTheMatrix)
{
    CMatrix4 rank3, withNan, out = MOVE;
    for (unsigned int r = 0; r < 4; ++r) { // column 3 = 0.5 column 0 - column 2 + 3 column 1, in floats
        rank3.set(r, 1, r + 0.25f);
        rank3.set(r, 3, 0.5f * rank3.get(r, 0) - rank3.get(r, 2) + 3.0f * rank3.get(r, 1));
    }
    withNan.set(1, 2, std::numeric_limits<float>::quiet_NaN());
    for (const CMatrix4& m : {rank3, withNan, CMatrix4(CVector4(), CVector4(), CVector4(), CVector4())})
        EXPECT_FALSE(m.getInverse(out));
    CMatrix3 out3(MOVE);
    EXPECT_FALSE(CMatrix3(CVector3(1, 2, 3), CVector3(2, 4, 6), CVector3(0, 1, 0)).getInverse(out3));
    EXPECT_TRUE(out3 == CMatrix3(MOVE));

    // Scale and translation alone never make a matrix singular.
    CMatrix4 far, inverse;
    far.setTranslation(CVector3(1e6f, -3e6f, 2e6f));
    far.scale(CVector3(1e-3f, 1e-3f, 1e-3f));
    ASSERT_TRUE(far.getInverse(inverse));
    EXPECT_TRUE(near(inverse, glm::inverse(toGlm(far))));

    EXPECT_FALSE(out.setRotation(1.0f, CVector3()) || out.rotate(1.0f, CVector3()) ||
                 out.setLookAt(CVector3(1, 2, 3), CVector3(1, 2, 3), CVector3(0, 1, 0)) ||
                 out.setLookAt(CVector3(), CVector3(0, 5, 0), CVector3(0, 1, 0)) ||
                 out.setPerspective(1.0f, 0.0f, 0.1f, 10.0f) || out.setPerspective(1.0f, 1.0f, 2.0f, 2.0f) ||
                 out.setPerspective(0.0f, 1.0f, 0.1f, 10.0f) || out.setOrthographic(1, 1, 0, 1, 0, 1) ||
                 out.setOrthographic(0, 1, 2, 2, 0, 1) || out.setOrthographic(0, 1, 0, 1, 3, 3));
    EXPECT_TRUE(out == MOVE);
}

TEST(CQuaternion, AgreesWithGlmOnRandomRotations)
{
    CRandom random;
    for (int i = 0; i < 300; ++i) {
        const float angleA = random.next(-6.0f, 6.0f), angleB = random.next(-6.0f, 6.0f), t = random.next(0.0f, 1.0f);
        const CVector3 axisA = random.vector(), axisB = random.vector(), v = random.vector();
        CQuaternion a, b, back, inverse;
        ASSERT_TRUE(a.setRotation(angleA, axisA) && b.setRotation(angleB, axisB));
        const glm::quat ga = glm::angleAxis(angleA, glm::normalize(toGlm(axisA)));
        const glm::quat gb = glm::angleAxis(angleB, glm::normalize(toGlm(axisB)));
        EXPECT_TRUE(sameRotation(a, ga) && sameRotation(a * b, ga * gb) && near(a * v, ga * toGlm(v)));
        EXPECT_TRUE(near(a.getMatrix4(), glm::mat4_cast(ga)));
        // Both arcs: slerp takes the shorter one, as GLM does.
        EXPECT_TRUE(sameRotation(CQuaternion::slerp(a, b, t), glm::slerp(ga, gb, t)));
        EXPECT_TRUE(sameRotation(CQuaternion::slerp(a, b.getConjugate(), t), glm::slerp(ga, glm::conjugate(gb), t)));
        back.setFromMatrix(a.getMatrix4());
        EXPECT_TRUE(sameRotation(back, ga));

        CQuaternion scaled(a.x * 3.0f, a.y * 3.0f, a.z * 3.0f, a.w * 3.0f);
        ASSERT_TRUE(scaled.getInverse(inverse));
        const glm::quat gi = glm::inverse(toGlm(scaled));
        EXPECT_TRUE(near(&inverse.x, &gi.x, 4));
        EXPECT_TRUE(near(scaled.normalize(), 3.0f) && near(&scaled.x, &a.x, 4));
    }
}

TEST(CQuaternion, DegenerateInputs)
{
    CQuaternion q(1.0f, 2.0f, 3.0f, 4.0f), zero(0.0f, 0.0f, 0.0f, 0.0f), a, b;
    EXPECT_FALSE(q.setRotation(1.0f, CVector3()) || zero.getInverse(q));
    EXPECT_TRUE(q == CQuaternion(1.0f, 2.0f, 3.0f, 4.0f) && zero.normalize() == 0.0f &&
                zero == CQuaternion(0, 0, 0, 0));
    // Nearly equal rotations interpolate linearly instead of dividing by sin(0).
    a.setRotation(1e-4f, CVector3(0, 0, 1));
    const CQuaternion mid = CQuaternion::slerp(a, b, 0.5f);
    const glm::quat gm = glm::slerp(toGlm(a), toGlm(b), 0.5f);
    EXPECT_TRUE(near(&mid.x, &gm.x, 4) && CQuaternion::slerp(a, a, 0.3f) == a);
}

TEST(CHitTest, RaysAgreeWithGlmOnRandomScenes)
{
    CRandom random;
    std::vector<CBox> boxes;
    for (int i = 0; i < 500; ++i) {
        const CVector3 corner = random.vector(20.0f);
        boxes.emplace_back(corner, corner + random.vector(1.0f));
    }
    int hits[3] = {};
    for (int i = 0; i < 2000; ++i) {
        const CRay ray(random.vector(), random.vector(1.0f));
        const glm::vec3 o = toGlm(ray.getOrigin()), d = toGlm(ray.getDirection());
        const CVector3 normal = random.vector(1.0f), point = random.vector(), a = random.vector(), b = random.vector(),
                       c = random.vector();
        float t = -1.0f, gt = -1.0f;
        // Grazing rays are left out: the two tolerances differ there.
        if (std::fabs(normal.getNormalized().dot(ray.getDirection().getNormalized())) > 0.01f) {
            const bool hit = CHitTest::rayPlane(ray, CPlane(normal, point), t);
            EXPECT_EQ(hit, glm::intersectRayPlane(o, d, toGlm(point), toGlm(normal), gt)) << i;
            EXPECT_TRUE(!hit || near(t, gt)) << i;
            hits[0] += hit;
        }
        // (u, v, t) in double precision tell the clear cases: hits near an
        // edge, the origin or at grazing angles may fall either way.
        const glm::dvec3 e1(toGlm(b - a)), e2(toGlm(c - a)), dd(d);
        const glm::dvec3 uvt = glm::inverse(glm::dmat3(e1, e2, -dd)) * glm::dvec3(toGlm(ray.getOrigin() - a));
        if (std::min({std::fabs(uvt.x), std::fabs(uvt.y), std::fabs(1.0 - uvt.x - uvt.y), std::fabs(uvt.z)}) > 1e-3 &&
            std::fabs(glm::dot(glm::normalize(glm::cross(e1, e2)), glm::normalize(dd))) > 0.01) {
            glm::vec2 gbary(0.0f);
            CVector2 bary;
            const bool hit = CHitTest::rayTriangle(ray, a, b, c, t, bary);
            EXPECT_EQ(hit, glm::intersectRayTriangle(o, d, toGlm(a), toGlm(b), toGlm(c), gbary, gt) && gt >= 0.0f) << i;
            EXPECT_TRUE(!hit || (near(t, gt) && near(&bary.x, &gbary.x, 2))) << i;
            hits[1] += hit;
        }
        const CBox box(random.vector(), random.vector()), &other = boxes[i % 499];
        double rt = 0.0;
        const bool hit = CHitTest::rayBox(ray, box, t);
        EXPECT_EQ(hit, referenceRayBox(ray, box, rt)) << i;
        EXPECT_TRUE(!hit || std::fabs(t - rt) < 1e-4 * std::max(1.0, rt)) << i;
        hits[2] += hit;
        EXPECT_EQ(CHitTest::boxBox(box, other),
                  ordered(box.getMin(), other.getMax()) && ordered(other.getMin(), box.getMax()));
        EXPECT_EQ(CHitTest::pointInBox(point, box), ordered(box.getMin(), point) && ordered(point, box.getMax()));
        if (i % 40 == 0) { // the nearest box is the one rayBox finds nearest; flat rays take the general path
            const CRay probe(ray.getOrigin(), i % 160 ? ray.getDirection() : CVector3(d.x, 0.0f, d.z));
            int expected = -1;
            float best = -1.0f, nearest = -1.0f;
            for (unsigned int k = 0; k < boxes.size(); ++k) {
                if (CHitTest::rayBox(probe, boxes[k], t) && (expected < 0 || t < best))
                    std::tie(expected, best) = std::make_pair(int(k), t);
            }
            EXPECT_EQ(CHitTest::rayNearestBox(probe, boxes.data(), boxes.size(), nearest), expected);
            EXPECT_EQ(nearest, best);
        }
    }
    // The scenes exercise both outcomes.
    EXPECT_TRUE(hits[0] > 200 && hits[1] > 20 && hits[2] > 200) << hits[0] << " " << hits[1] << " " << hits[2];
}

static_assert(CBox(CVector3(1, 1, 1), CVector3(-1, -1, -1)).getSize() == CVector3(2, 2, 2)); // corners in any order

TEST(CHitTest, DegenerateCases)
{
    const CBox unit(CVector3(1, 1, 1), CVector3(-1, -1, -1));
    const CPlane ground(CVector3(0, 1, 0), 0.0f);
    const auto plane = [&](CVector3 o, CVector3 d, float& t) { return CHitTest::rayPlane(CRay(o, d), ground, t); };
    const auto box = [&](CVector3 o, CVector3 d, float& t, const CBox& b) {
        return CHitTest::rayBox(CRay(o, d), b, t);
    };
    float t = -1.0f;
    // Within the tolerance of parallel, behind, zero direction, zero normal.
    EXPECT_FALSE(plane({0, 1, 0}, {1000, -0.9f, 0}, t) || plane({0, 1, 0}, {0, 1, 0}, t) || plane({0, 1, 0}, {}, t) ||
                 CHitTest::rayPlane(CRay(), CPlane(CVector3(), 1.0f), t));
    EXPECT_TRUE(plane({0, 1, 0}, {1000, -1.1f, 0}, t) && plane({0, 4, 0}, {0, -2, 0}, t) && t == 2.0f);

    // From inside the box t is 0; a zero direction hits only from inside; a box behind misses.
    EXPECT_TRUE(box({0.5f, 0, 0}, {1, 2, 3}, t, unit) && t == 0.0f);
    EXPECT_TRUE(box({0, 0.5f, 0}, {}, t, unit) && t == 0.0f);
    EXPECT_FALSE(box({0, 2, 0}, {}, t, unit) || box({3, 0, 0}, {1, 0, 0}, t, unit));
    // Along a face (direction 0 on that axis, origin on the face), through an edge, onto a flat box.
    EXPECT_TRUE(box({-5, 1, 0}, {2, 0, 0}, t, unit) && t == 2.0f && box({-3, -3, 0}, {1, 1, 0}, t, unit) && t == 2.0f);
    EXPECT_FALSE(box({-5, 1.001f, 0}, {2, 0, 0}, t, unit));
    EXPECT_TRUE(box({0.5f, 0.5f, 5}, {0, 0, -1}, t, CBox(CVector3(0, 0, 0), CVector3(1, 1, 0))) && t == 5.0f);
    // Closed boxes: touching counts, at a corner, in either order.
    const CBox corner(CVector3(1, 1, 1), CVector3(2, 2, 2)), apart(CVector3(1, 1, 1.001f), CVector3(2, 2, 2));
    EXPECT_TRUE(CHitTest::boxBox(unit, corner) && CHitTest::boxBox(corner, unit));
    EXPECT_FALSE(CHitTest::boxBox(unit, apart) || CHitTest::boxBox(apart, unit));
    EXPECT_TRUE(CHitTest::pointInBox(unit.getMin(), unit) && CHitTest::pointInBox(unit.getMax(), unit) &&
                !CHitTest::pointInBox(CVector3(1, -1.001f, 0), unit));
    // The nearest box for a ray that only touches a corner (t = 1), in the
    // bulk loop and in its last step; missing every box leaves t alone.
    const CBox row[] = {CBox(CVector3(6, -1, -1), CVector3(7, 1, 1)), unit, corner, unit};
    EXPECT_TRUE(CHitTest::rayNearestBox(CRay(CVector3(0, 0, 2), CVector3(1, 1, -1)), row + 1, 3, t) == 0 && t == 1.0f);
    EXPECT_TRUE(CHitTest::rayNearestBox(CRay(CVector3(0, 0, 2), CVector3(1, 1, -1)), row, 2, t) == 1 && t == 1.0f);
    t = 7.0f;
    EXPECT_TRUE(CHitTest::rayNearestBox(CRay(CVector3(-5, 5, 0), CVector3(1, 0, 0)), row, 4, t) == -1 && t == 7.0f);
#if defined(__unix__)
    // Boxes that end right before an inaccessible page: the bulk loop must
    // not read past the last one.
    const long page = sysconf(_SC_PAGESIZE);
    void* mem = mmap(nullptr, size_t(page) * 2, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_TRUE(mem != MAP_FAILED && mprotect(static_cast<char*>(mem) + page, size_t(page), PROT_NONE) == 0);
    CBox* last = reinterpret_cast<CBox*>(static_cast<char*>(mem) + page) - 3;
    for (int k = 0; k < 3; ++k)
        new (last + k) CBox(unit);
    EXPECT_TRUE(CHitTest::rayNearestBox(CRay(CVector3(-5, -5, -5), CVector3(1, 1, 1)), last, 3, t) == 0 && t == 4.0f);
    munmap(mem, size_t(page) * 2);
#endif

    // Triangles: edges, vertices and both faces count; outside, behind, in-plane and collinear miss.
    const CVector3 a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);
    const auto tri = [&](CVector3 o, CVector3 d, const CVector3& third) {
        return CHitTest::rayTriangle(CRay(o, d), a, b, third, t);
    };
    CVector2 bary;
    EXPECT_TRUE(CHitTest::rayTriangle(CRay(CVector3(1, 1, 3), CVector3(0, 0, -1)), a, b, c, t, bary) && t == 3.0f &&
                bary == CVector2(0.5f, 0.5f) && tri({0, 0, -3}, {0, 0, 1}, c));
    EXPECT_FALSE(tri({1.01f, 1, 3}, {0, 0, -1}, c) || tri({1, 1, 3}, {0, 0, 1}, c) ||
                 tri({-1, 0.5f, 0}, {1, 0, 0}, c) || tri({1, 0, 3}, {0, 0, -1}, CVector3(4, 0, 0)));

    CPlane p(CVector3(0, 0, 2), 4.0f);
    EXPECT_FALSE(p.setFromPoints(a, b, CVector3(5, 0, 0)) || p.setFromPoints(a, a, a) ||
                 CPlane(CVector3(), 1.0f).normalize());
    EXPECT_TRUE(p.getNormal() == CVector3(0, 0, 2) && p.getD() == 4.0f && p.normalize() &&
                p.getNormal() == CVector3(0, 0, 1) && p.getD() == 2.0f);
    ASSERT_TRUE(p.setFromPoints(CVector3(0, 0, 1), CVector3(2, 0, 1), CVector3(0, 2, 1)));
    EXPECT_TRUE(p.getNormal() == CVector3(0, 0, 1) && p.getDistance(CVector3(5, 5, 4)) == 3.0f);
}

#include <math/CHitTest.h>

#include "math/GlmReference.h"

#define GLM_ENABLE_EXPERIMENTAL
#include <glm/gtx/intersect.hpp>

#include <new>
#include <vector>

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

using namespace Trell;
using namespace MathTest;

namespace {

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

} // namespace

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
        float t = -1.0f, gt = -1.0f, plainT = -1.0f;
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
            EXPECT_TRUE(CHitTest::rayTriangle(ray, a, b, c, plainT) == hit && plainT == (hit ? t : -1.0f)) << i;
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
    EXPECT_TRUE(p.getNormal() == CVector3(0, 0, 2) && p.getD() == 4.0f);
    EXPECT_TRUE(p.normalize() && p.getNormal() == CVector3(0, 0, 1) && p.getD() == 2.0f);
    ASSERT_TRUE(p.setFromPoints(CVector3(0, 0, 1), CVector3(2, 0, 1), CVector3(0, 2, 1)));
    EXPECT_TRUE(p.getNormal() == CVector3(0, 0, 1) && p.getDistance(CVector3(5, 5, 4)) == 3.0f);
}

#include <math/CMatrix3.h>
#include <math/CMatrix4.h>

#include "math/GlmReference.h"

#include <glm/gtc/matrix_transform.hpp>

#include <limits>

using namespace Trell;
using namespace MathTest;

namespace {

constexpr CMatrix4 MOVE(CVector4(1, 0, 0, 0), CVector4(0, 1, 0, 0), CVector4(0, 0, 1, 0), CVector4(7, 8, 9, 1));
// Column-major: the translation sits in elements 12..14, read as (row, column 3).
static_assert(MOVE.getData()[13] == 8.0f && MOVE.get(2, 3) == 9.0f && MOVE.getRow(3).w == 1.0f);
static_assert(MOVE.getTransposed().get(3, 0) == 7.0f && MOVE.transformPoint(CVector3(1, 1, 1)).z == 10.0f);
static_assert(MOVE.transformDirection(CVector3(1, 1, 1)).z == 1.0f && CMatrix4().getColumn(3) == CVector4(0, 0, 0, 1));
static_assert(CMatrix3(MOVE) == CMatrix3() && CMatrix3(MOVE).getMatrix4() == CMatrix4());

} // namespace

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
    CMatrix4 flat, rank3, withNan, out = MOVE;
    flat.setScale(CVector3(2.0f, 0.0f, 1.0f));
    flat.rotate(0.3f, CVector3(1.0f, 1.0f, 0.0f));
    flat.translate(CVector3(5.0f, 6.0f, 7.0f));
    for (unsigned int r = 0; r < 4; ++r) { // column 3 = 0.5 column 0 - column 2 + 3 column 1, in floats
        rank3.set(r, 1, r + 0.25f);
        rank3.set(r, 3, 0.5f * rank3.get(r, 0) - rank3.get(r, 2) + 3.0f * rank3.get(r, 1));
    }
    withNan.set(1, 2, std::numeric_limits<float>::quiet_NaN());
    for (const CMatrix4& m : {flat, rank3, withNan, CMatrix4(CVector4(), CVector4(), CVector4(), CVector4())})
        EXPECT_FALSE(m.getInverse(out));
    CMatrix3 out3(MOVE);
    EXPECT_FALSE(CMatrix3(flat).getInverse(out3) ||
                 CMatrix3(CVector3(1, 2, 3), CVector3(2, 4, 6), CVector3(0, 1, 0)).getInverse(out3));
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

#include <math/CQuaternion.h>

#include "math/GlmReference.h"

using namespace Trell;
using namespace MathTest;

namespace {

// q and -q are the same rotation.
::testing::AssertionResult sameRotation(const CQuaternion& q, const glm::quat& g)
{
    const float s = q.dot(CQuaternion(g.x, g.y, g.z, g.w)) < 0.0f ? -1.0f : 1.0f;
    const CQuaternion signed_(q.x * s, q.y * s, q.z * s, q.w * s);
    return near(&signed_.x, &g.x, 4);
}

} // namespace

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
        EXPECT_TRUE(near(a.getMatrix3().getData(), &glm::mat3_cast(ga)[0][0], 9));
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

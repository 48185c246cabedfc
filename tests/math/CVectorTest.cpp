#include <math/CPoint.h>
#include <math/CVector2.h>
#include <math/CVector3.h>
#include <math/CVector4.h>

#include "math/GlmReference.h"

#include <climits>

using namespace Trell;
using namespace MathTest;

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
    EXPECT_EQ(v2.normalize() + v3.normalize() + v4.normalize(), 0.0f);
    EXPECT_TRUE(v2 == CVector2() && v3 == CVector3() && v4 == CVector4() && CVector3().getNormalized() == v3);

    EXPECT_EQ(CPoint(1, 2).getDistance(CPoint(4, 6)), 5.0f);
    EXPECT_EQ(CPoint(INT_MIN, INT_MIN).getDistanceSquared(CPoint(INT_MAX, INT_MAX)), 2 * 4294967295.0 * 4294967295.0);
    EXPECT_EQ(CPoint(-50000000, 3).getDistanceSquared(CPoint(17000000, 4)), 67000000.0 * 67000000.0 + 1);
}

#pragma once

// GLM as the reference of the geometry tests: conversions, a seeded random
// source and tolerant comparisons. Test-only; the library never includes GLM.

#include <math/CMatrix4.h>
#include <math/CQuaternion.h>
#include <math/CVector3.h>

#include <gtest/gtest.h>

#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

namespace MathTest {

using namespace Trell;

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

} // namespace MathTest

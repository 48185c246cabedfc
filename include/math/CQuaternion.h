#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CMatrix3.h>
#include <math/CMatrix4.h>
#include <math/CVector3.h>

#include <cmath>

namespace Trell {

// A rotation as a quaternion x i + y j + z k + w. The rotating operations
// (the vector product, getMatrix3/4, slerp) expect a unit quaternion;
// normalize() makes one. Multiplication composes like the matrices: (a * b)
// applied to v rotates by b first. A plain value with public components; no
// reference count, no allocation. Comparison is exact (q and -q are the same
// rotation but compare unequal).
class ECS_API CQuaternion
{
    TRELL_DECLARE_ALLOCATOR(u"CQuaternion")

public:
    float x;
    float y;
    float z;
    float w;

    // The identity rotation (0, 0, 0, 1).
    constexpr CQuaternion() noexcept : x(0.0f), y(0.0f), z(0.0f), w(1.0f) {}
    constexpr CQuaternion(float fx, float fy, float fz, float fw) noexcept : x(fx), y(fy), z(fz), w(fw) {}

    // Counter-clockwise about `axis` (any length). False for a zero axis,
    // leaving the quaternion as it was.
    bool setRotation(float radians, const CVector3& axis);
    // From a rotation matrix (orthonormal, determinant 1; for anything else
    // the result is the nearest this method finds, not a guarantee). The
    // CMatrix4 form reads the upper left 3x3 part.
    void setFromMatrix(const CMatrix3& m);
    void setFromMatrix(const CMatrix4& m) { setFromMatrix(CMatrix3(m)); }
    CMatrix3 getMatrix3() const;
    CMatrix4 getMatrix4() const { return getMatrix3().getMatrix4(); }

    constexpr CQuaternion operator*(const CQuaternion& q) const
    {
        return CQuaternion(w * q.x + x * q.w + y * q.z - z * q.y, w * q.y + y * q.w + z * q.x - x * q.z,
                           w * q.z + z * q.w + x * q.y - y * q.x, w * q.w - x * q.x - y * q.y - z * q.z);
    }
    // v rotated by this (unit) quaternion.
    constexpr CVector3 operator*(const CVector3& v) const
    {
        // v + 2w (u x v) + 2 u x (u x v) with u the vector part.
        const CVector3 u(x, y, z);
        const CVector3 t = u.cross(v) * 2.0f;
        return v + t * w + u.cross(t);
    }
    constexpr bool operator==(const CQuaternion& q) const { return x == q.x && y == q.y && z == q.z && w == q.w; }
    constexpr bool operator!=(const CQuaternion& q) const { return !(*this == q); }

    constexpr float dot(const CQuaternion& q) const { return x * q.x + y * q.y + z * q.z + w * q.w; }
    float getLength() const { return std::sqrt(dot(*this)); }
    // Scales to length 1 and returns the former length; a zero quaternion
    // stays zero and gives 0.
    float normalize();
    constexpr CQuaternion getConjugate() const { return CQuaternion(-x, -y, -z, w); }
    // False for a zero quaternion, leaving `inverse` untouched.
    bool getInverse(CQuaternion& inverse) const;

    // Spherical interpolation from a (t = 0) to b (t = 1) along the shorter
    // arc (b is negated when the two point apart). Nearly equal rotations,
    // whose arc cannot be measured in single precision, fall back to linear
    // interpolation.
    static CQuaternion slerp(const CQuaternion& a, const CQuaternion& b, float t);
};

} // namespace Trell

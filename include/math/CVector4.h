#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CVector3.h>

#include <cmath>

namespace Trell {

// A 4-component float vector: homogeneous points (w = 1) and directions
// (w = 0) for the 4x4 matrices, or any four floats. A plain value with
// public components; no reference count, no allocation. Comparison is exact.
class ECS_API CVector4
{
    TRELL_DECLARE_ALLOCATOR(u"CVector4")

public:
    float x;
    float y;
    float z;
    float w;

    constexpr CVector4() noexcept : x(0.0f), y(0.0f), z(0.0f), w(0.0f) {}
    constexpr CVector4(float fx, float fy, float fz, float fw) noexcept : x(fx), y(fy), z(fz), w(fw) {}
    constexpr CVector4(const CVector3& v, float fw) noexcept : x(v.x), y(v.y), z(v.z), w(fw) {}

    // x, y, z without w (no division by w).
    constexpr CVector3 getXYZ() const { return CVector3(x, y, z); }

    constexpr CVector4 operator+(const CVector4& v) const { return CVector4(x + v.x, y + v.y, z + v.z, w + v.w); }
    constexpr CVector4 operator-(const CVector4& v) const { return CVector4(x - v.x, y - v.y, z - v.z, w - v.w); }
    constexpr CVector4 operator-() const { return CVector4(-x, -y, -z, -w); }
    // Component by component.
    constexpr CVector4 operator*(const CVector4& v) const { return CVector4(x * v.x, y * v.y, z * v.z, w * v.w); }
    constexpr CVector4 operator*(float s) const { return CVector4(x * s, y * s, z * s, w * s); }
    constexpr CVector4 operator/(float s) const { return CVector4(x / s, y / s, z / s, w / s); }
    constexpr bool operator==(const CVector4& v) const { return x == v.x && y == v.y && z == v.z && w == v.w; }
    constexpr bool operator!=(const CVector4& v) const { return !(*this == v); }

    constexpr float dot(const CVector4& v) const { return x * v.x + y * v.y + z * v.z + w * v.w; }
    constexpr float getLengthSquared() const { return dot(*this); }
    float getLength() const { return std::sqrt(getLengthSquared()); }
    // Scales to length 1 and returns the former length; a zero vector stays zero.
    float normalize()
    {
        const float length = getLength();
        if (length > 0.0f)
            *this = *this / length;
        return length;
    }
};

constexpr CVector4 operator*(float s, const CVector4& v)
{
    return v * s;
}

} // namespace Trell

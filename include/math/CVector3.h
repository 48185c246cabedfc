#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <cmath>

namespace Trell {

// A 3-component float vector (a point or a direction in space). A plain
// value with public components; no reference count, no allocation.
// Comparison is exact; compare with a tolerance through CMath::isEqual.
class ECS_API CVector3
{
    TRELL_DECLARE_ALLOCATOR(u"CVector3")

public:
    float x;
    float y;
    float z;

    constexpr CVector3() noexcept : x(0.0f), y(0.0f), z(0.0f) {}
    constexpr CVector3(float fx, float fy, float fz) noexcept : x(fx), y(fy), z(fz) {}

    constexpr CVector3 operator+(const CVector3& v) const { return CVector3(x + v.x, y + v.y, z + v.z); }
    constexpr CVector3 operator-(const CVector3& v) const { return CVector3(x - v.x, y - v.y, z - v.z); }
    constexpr CVector3 operator-() const { return CVector3(-x, -y, -z); }
    // Component by component.
    constexpr CVector3 operator*(const CVector3& v) const { return CVector3(x * v.x, y * v.y, z * v.z); }
    constexpr CVector3 operator*(float s) const { return CVector3(x * s, y * s, z * s); }
    constexpr CVector3 operator/(float s) const { return CVector3(x / s, y / s, z / s); }
    constexpr CVector3& operator+=(const CVector3& v) { return *this = *this + v; }
    constexpr CVector3& operator-=(const CVector3& v) { return *this = *this - v; }
    constexpr CVector3& operator*=(float s) { return *this = *this * s; }
    constexpr bool operator==(const CVector3& v) const { return x == v.x && y == v.y && z == v.z; }
    constexpr bool operator!=(const CVector3& v) const { return !(*this == v); }
    // 0, 1, 2 for x, y, z; other indices are the caller's fault.
    constexpr float operator[](unsigned int i) const { return i == 0 ? x : (i == 1 ? y : z); }

    constexpr float dot(const CVector3& v) const { return x * v.x + y * v.y + z * v.z; }
    // Right-handed: x cross y is z.
    constexpr CVector3 cross(const CVector3& v) const
    {
        return CVector3(y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x);
    }
    constexpr float getLengthSquared() const { return dot(*this); }
    float getLength() const { return std::sqrt(getLengthSquared()); }
    float getDistance(const CVector3& v) const { return (v - *this).getLength(); }
    // Scales to length 1 and returns the former length. A zero vector stays
    // zero and gives 0 (no NaN).
    float normalize()
    {
        const float length = getLength();
        if (length > 0.0f)
            *this = *this / length;
        return length;
    }
    CVector3 getNormalized() const
    {
        CVector3 v(*this);
        v.normalize();
        return v;
    }
    // a + (b - a) * t; t outside 0..1 extrapolates.
    static constexpr CVector3 lerp(const CVector3& a, const CVector3& b, float t) { return a + (b - a) * t; }
};

constexpr CVector3 operator*(float s, const CVector3& v)
{
    return v * s;
}

} // namespace Trell

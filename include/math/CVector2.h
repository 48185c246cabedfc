#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

#include <cmath>

namespace Trell {

// A 2-component float vector (a point or a direction in the plane). A plain
// value with public components; no reference count, no allocation.
// Comparison is exact; compare with a tolerance through CMath::isEqual.
class ECS_API CVector2
{
    TRELL_DECLARE_ALLOCATOR(u"CVector2")

public:
    float x;
    float y;

    constexpr CVector2() noexcept : x(0.0f), y(0.0f) {}
    constexpr CVector2(float fx, float fy) noexcept : x(fx), y(fy) {}

    constexpr CVector2 operator+(const CVector2& v) const { return CVector2(x + v.x, y + v.y); }
    constexpr CVector2 operator-(const CVector2& v) const { return CVector2(x - v.x, y - v.y); }
    constexpr CVector2 operator-() const { return CVector2(-x, -y); }
    // Component by component.
    constexpr CVector2 operator*(const CVector2& v) const { return CVector2(x * v.x, y * v.y); }
    constexpr CVector2 operator*(float s) const { return CVector2(x * s, y * s); }
    constexpr CVector2 operator/(float s) const { return CVector2(x / s, y / s); }
    constexpr CVector2& operator+=(const CVector2& v) { return *this = *this + v; }
    constexpr CVector2& operator-=(const CVector2& v) { return *this = *this - v; }
    constexpr CVector2& operator*=(float s) { return *this = *this * s; }
    constexpr bool operator==(const CVector2& v) const { return x == v.x && y == v.y; }
    constexpr bool operator!=(const CVector2& v) const { return !(*this == v); }

    constexpr float dot(const CVector2& v) const { return x * v.x + y * v.y; }
    constexpr float getLengthSquared() const { return dot(*this); }
    float getLength() const { return std::sqrt(getLengthSquared()); }
    float getDistance(const CVector2& v) const { return (v - *this).getLength(); }
    // Scales to length 1 and returns the former length. A zero vector stays
    // zero and gives 0 (no NaN).
    float normalize()
    {
        const float length = getLength();
        if (length > 0.0f)
            *this = *this / length;
        return length;
    }
    CVector2 getNormalized() const
    {
        CVector2 v(*this);
        v.normalize();
        return v;
    }
};

constexpr CVector2 operator*(float s, const CVector2& v)
{
    return v * s;
}

} // namespace Trell

#include <math/CQuaternion.h>

#include <math/CMath.h>

#include <cmath>

namespace Trell {

bool CQuaternion::setRotation(float radians, const CVector3& axis)
{
    const CVector3 unit = axis.getNormalized();
    if (unit == CVector3())
        return false;
    const float s = std::sin(radians * 0.5f);
    *this = CQuaternion(unit.x * s, unit.y * s, unit.z * s, std::cos(radians * 0.5f));
    return true;
}

void CQuaternion::setFromMatrix(const CMatrix3& m)
{
    // Computes the largest of |x|, |y|, |z|, |w| from the diagonal first and
    // the others from it, so that no division goes through a small value.
    const float m00 = m.get(0, 0), m11 = m.get(1, 1), m22 = m.get(2, 2);
    const float fw = m00 + m11 + m22, fx = m00 - m11 - m22, fy = m11 - m00 - m22, fz = m22 - m00 - m11;
    int biggest = 0;
    float largest = fw;
    if (fx > largest) {
        largest = fx;
        biggest = 1;
    }
    if (fy > largest) {
        largest = fy;
        biggest = 2;
    }
    if (fz > largest) {
        largest = fz;
        biggest = 3;
    }
    const float v = std::sqrt(largest + 1.0f) * 0.5f;
    const float f = 0.25f / v;
    // Off-diagonal sums and differences (element (r, c) as m.get(r, c)).
    const float dzy = m.get(2, 1) - m.get(1, 2), dxz = m.get(0, 2) - m.get(2, 0), dyx = m.get(1, 0) - m.get(0, 1);
    const float syx = m.get(1, 0) + m.get(0, 1), sxz = m.get(0, 2) + m.get(2, 0), szy = m.get(2, 1) + m.get(1, 2);
    switch (biggest) {
    case 0: *this = CQuaternion(dzy * f, dxz * f, dyx * f, v); break;
    case 1: *this = CQuaternion(v, syx * f, sxz * f, dzy * f); break;
    case 2: *this = CQuaternion(syx * f, v, szy * f, dxz * f); break;
    default: *this = CQuaternion(sxz * f, szy * f, v, dyx * f); break;
    }
}

CMatrix3 CQuaternion::getMatrix3() const
{
    const float xx = x * x, yy = y * y, zz = z * z;
    const float xy = x * y, xz = x * z, yz = y * z, wx = w * x, wy = w * y, wz = w * z;
    return CMatrix3(CVector3(1.0f - 2.0f * (yy + zz), 2.0f * (xy + wz), 2.0f * (xz - wy)),
                    CVector3(2.0f * (xy - wz), 1.0f - 2.0f * (xx + zz), 2.0f * (yz + wx)),
                    CVector3(2.0f * (xz + wy), 2.0f * (yz - wx), 1.0f - 2.0f * (xx + yy)));
}

float CQuaternion::normalize()
{
    const float length = getLength();
    if (length > 0.0f) {
        const float f = 1.0f / length;
        *this = CQuaternion(x * f, y * f, z * f, w * f);
    }
    return length;
}

bool CQuaternion::getInverse(CQuaternion& inverse) const
{
    const float lengthSquared = dot(*this);
    if (!(lengthSquared > 0.0f))
        return false;
    const CQuaternion c = getConjugate();
    inverse = CQuaternion(c.x / lengthSquared, c.y / lengthSquared, c.z / lengthSquared, c.w / lengthSquared);
    return true;
}

CQuaternion CQuaternion::slerp(const CQuaternion& a, const CQuaternion& b, float t)
{
    float cosAngle = a.dot(b);
    CQuaternion to = b;
    if (cosAngle < 0.0f) {
        to = CQuaternion(-b.x, -b.y, -b.z, -b.w);
        cosAngle = -cosAngle;
    }
    float fa, fb;
    if (cosAngle > 1.0f - CMath::HIGH_EPSILON) {
        fa = 1.0f - t;
        fb = t;
    } else {
        const float angle = std::acos(cosAngle);
        const float s = std::sin(angle);
        fa = std::sin((1.0f - t) * angle) / s;
        fb = std::sin(t * angle) / s;
    }
    return CQuaternion(a.x * fa + to.x * fb, a.y * fa + to.y * fb, a.z * fa + to.z * fb, a.w * fa + to.w * fb);
}

} // namespace Trell

#include <math/CMatrix4.h>

#include <cmath>

namespace Trell {

namespace {

// The 2x2 minors of rows 0-1 (s) and rows 2-3 (c) of a matrix read through
// `at(row, column)`; the determinant and every cofactor are built from them.
struct tagMinors
{
    float s[6];
    float c[6];
};

template <typename At>
tagMinors minorsOf(At at, float sign)
{
    // With sign +1 every product pair is added instead of subtracted: applied
    // to absolute values that gives the terms of the permanent.
    tagMinors m;
    m.s[0] = at(0, 0) * at(1, 1) + sign * at(0, 1) * at(1, 0);
    m.s[1] = at(0, 0) * at(1, 2) + sign * at(0, 2) * at(1, 0);
    m.s[2] = at(0, 0) * at(1, 3) + sign * at(0, 3) * at(1, 0);
    m.s[3] = at(0, 1) * at(1, 2) + sign * at(0, 2) * at(1, 1);
    m.s[4] = at(0, 1) * at(1, 3) + sign * at(0, 3) * at(1, 1);
    m.s[5] = at(0, 2) * at(1, 3) + sign * at(0, 3) * at(1, 2);
    m.c[0] = at(2, 0) * at(3, 1) + sign * at(2, 1) * at(3, 0);
    m.c[1] = at(2, 0) * at(3, 2) + sign * at(2, 2) * at(3, 0);
    m.c[2] = at(2, 0) * at(3, 3) + sign * at(2, 3) * at(3, 0);
    m.c[3] = at(2, 1) * at(3, 2) + sign * at(2, 2) * at(3, 1);
    m.c[4] = at(2, 1) * at(3, 3) + sign * at(2, 3) * at(3, 1);
    m.c[5] = at(2, 2) * at(3, 3) + sign * at(2, 3) * at(3, 2);
    return m;
}

float determinantOf(const tagMinors& m)
{
    return m.s[0] * m.c[5] - m.s[1] * m.c[4] + m.s[2] * m.c[3] + m.s[3] * m.c[2] - m.s[4] * m.c[1] +
           m.s[5] * m.c[0];
}

// Columns of a rotation about a unit axis (Rodrigues' formula).
CMatrix4 rotationMatrix(float radians, const CVector3& unitAxis)
{
    const float c = std::cos(radians);
    const float s = std::sin(radians);
    const CVector3 a = unitAxis;
    const CVector3 t = a * (1.0f - c);
    return CMatrix4(CVector4(t.x * a.x + c, t.x * a.y + s * a.z, t.x * a.z - s * a.y, 0.0f),
                    CVector4(t.y * a.x - s * a.z, t.y * a.y + c, t.y * a.z + s * a.x, 0.0f),
                    CVector4(t.z * a.x + s * a.y, t.z * a.y - s * a.x, t.z * a.z + c, 0.0f),
                    CVector4(0.0f, 0.0f, 0.0f, 1.0f));
}

} // namespace

void CMatrix4::transformPoints(const CVector3* in, CVector3* out, unsigned int count) const
{
    const float* m = m_afData;
    for (unsigned int i = 0; i < count; ++i) {
        const float x = in[i].x, y = in[i].y, z = in[i].z;
        out[i].x = m[0] * x + m[4] * y + m[8] * z + m[12];
        out[i].y = m[1] * x + m[5] * y + m[9] * z + m[13];
        out[i].z = m[2] * x + m[6] * y + m[10] * z + m[14];
    }
}

float CMatrix4::getDeterminant() const
{
    return determinantOf(minorsOf([this](unsigned int r, unsigned int c) { return get(r, c); }, -1.0f));
}

bool CMatrix4::getInverse(CMatrix4& inverse) const
{
    const auto a = [this](unsigned int r, unsigned int c) { return get(r, c); };
    const tagMinors m = minorsOf(a, -1.0f);
    const float det = determinantOf(m);
    const tagMinors p = minorsOf([this](unsigned int r, unsigned int c) { return std::fabs(get(r, c)); }, 1.0f);
    const float permanent = p.s[0] * p.c[5] + p.s[1] * p.c[4] + p.s[2] * p.c[3] + p.s[3] * p.c[2] +
                            p.s[4] * p.c[1] + p.s[5] * p.c[0];
    // Written so that NaN and infinity fail the test.
    if (!(std::fabs(det) > SINGULAR_EPSILON * permanent) || !std::isfinite(permanent))
        return false;

    const float f = 1.0f / det;
    const float* s = m.s;
    const float* c = m.c;
    CMatrix4 r(tagNoInit{});
    r.set(0, 0, (a(1, 1) * c[5] - a(1, 2) * c[4] + a(1, 3) * c[3]) * f);
    r.set(0, 1, (-a(0, 1) * c[5] + a(0, 2) * c[4] - a(0, 3) * c[3]) * f);
    r.set(0, 2, (a(3, 1) * s[5] - a(3, 2) * s[4] + a(3, 3) * s[3]) * f);
    r.set(0, 3, (-a(2, 1) * s[5] + a(2, 2) * s[4] - a(2, 3) * s[3]) * f);
    r.set(1, 0, (-a(1, 0) * c[5] + a(1, 2) * c[2] - a(1, 3) * c[1]) * f);
    r.set(1, 1, (a(0, 0) * c[5] - a(0, 2) * c[2] + a(0, 3) * c[1]) * f);
    r.set(1, 2, (-a(3, 0) * s[5] + a(3, 2) * s[2] - a(3, 3) * s[1]) * f);
    r.set(1, 3, (a(2, 0) * s[5] - a(2, 2) * s[2] + a(2, 3) * s[1]) * f);
    r.set(2, 0, (a(1, 0) * c[4] - a(1, 1) * c[2] + a(1, 3) * c[0]) * f);
    r.set(2, 1, (-a(0, 0) * c[4] + a(0, 1) * c[2] - a(0, 3) * c[0]) * f);
    r.set(2, 2, (a(3, 0) * s[4] - a(3, 1) * s[2] + a(3, 3) * s[0]) * f);
    r.set(2, 3, (-a(2, 0) * s[4] + a(2, 1) * s[2] - a(2, 3) * s[0]) * f);
    r.set(3, 0, (-a(1, 0) * c[3] + a(1, 1) * c[1] - a(1, 2) * c[0]) * f);
    r.set(3, 1, (a(0, 0) * c[3] - a(0, 1) * c[1] + a(0, 2) * c[0]) * f);
    r.set(3, 2, (-a(3, 0) * s[3] + a(3, 1) * s[1] - a(3, 2) * s[0]) * f);
    r.set(3, 3, (a(2, 0) * s[3] - a(2, 1) * s[1] + a(2, 2) * s[0]) * f);
    inverse = r;
    return true;
}

void CMatrix4::setTranslation(const CVector3& offset)
{
    *this = CMatrix4();
    setColumn(3, CVector4(offset, 1.0f));
}

void CMatrix4::setScale(const CVector3& factors)
{
    *this = CMatrix4();
    set(0, 0, factors.x);
    set(1, 1, factors.y);
    set(2, 2, factors.z);
}

bool CMatrix4::setRotation(float radians, const CVector3& axis)
{
    const CVector3 unit = axis.getNormalized();
    if (unit == CVector3())
        return false;
    *this = rotationMatrix(radians, unit);
    return true;
}

bool CMatrix4::setLookAt(const CVector3& eye, const CVector3& center, const CVector3& up)
{
    const CVector3 f = (center - eye).getNormalized();
    const CVector3 s = f.cross(up).getNormalized();
    if (f == CVector3() || s == CVector3())
        return false;
    const CVector3 u = s.cross(f);
    *this = CMatrix4(CVector4(s.x, u.x, -f.x, 0.0f), CVector4(s.y, u.y, -f.y, 0.0f), CVector4(s.z, u.z, -f.z, 0.0f),
                     CVector4(-s.dot(eye), -u.dot(eye), f.dot(eye), 1.0f));
    return true;
}

bool CMatrix4::setPerspective(float fovY, float aspect, float zNear, float zFar)
{
    const float tanHalf = std::tan(fovY / 2.0f);
    if (aspect == 0.0f || zNear == zFar || tanHalf == 0.0f || !std::isfinite(tanHalf))
        return false;
    const float depth = zFar - zNear;
    *this = CMatrix4(CVector4(1.0f / (aspect * tanHalf), 0.0f, 0.0f, 0.0f), CVector4(0.0f, 1.0f / tanHalf, 0.0f, 0.0f),
                     CVector4(0.0f, 0.0f, -(zFar + zNear) / depth, -1.0f),
                     CVector4(0.0f, 0.0f, -(2.0f * zFar * zNear) / depth, 0.0f));
    return true;
}

bool CMatrix4::setOrthographic(float left, float right, float bottom, float top, float zNear, float zFar)
{
    if (left == right || bottom == top || zNear == zFar)
        return false;
    const float w = right - left, h = top - bottom, d = zFar - zNear;
    *this = CMatrix4(CVector4(2.0f / w, 0.0f, 0.0f, 0.0f), CVector4(0.0f, 2.0f / h, 0.0f, 0.0f),
                     CVector4(0.0f, 0.0f, -2.0f / d, 0.0f),
                     CVector4(-(right + left) / w, -(top + bottom) / h, -(zFar + zNear) / d, 1.0f));
    return true;
}

void CMatrix4::translate(const CVector3& offset)
{
    setColumn(3, getColumn(0) * offset.x + getColumn(1) * offset.y + getColumn(2) * offset.z + getColumn(3));
}

void CMatrix4::scale(const CVector3& factors)
{
    setColumn(0, getColumn(0) * factors.x);
    setColumn(1, getColumn(1) * factors.y);
    setColumn(2, getColumn(2) * factors.z);
}

bool CMatrix4::rotate(float radians, const CVector3& axis)
{
    const CVector3 unit = axis.getNormalized();
    if (unit == CVector3())
        return false;
    *this = *this * rotationMatrix(radians, unit);
    return true;
}

} // namespace Trell

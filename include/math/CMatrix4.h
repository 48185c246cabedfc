#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CMath.h>
#include <math/CVector3.h>
#include <math/CVector4.h>

namespace Trell {

// A 4x4 float matrix stored column-major, as OpenGL takes it: element (row r,
// column c) is getData()[c * 4 + r], so getData() goes to glUniformMatrix4fv
// with transpose GL_FALSE. Vectors are columns and multiply on the right
// (M * v); A * B applies B first.
//
// The builders follow OpenGL's conventions: right-handed eye space looking
// down -z, clip depth -1..1, angles in radians, rotations counter-clockwise
// about their axis. translate/rotate/scale multiply on the right (this =
// this * T), so the new transform acts on points before the ones already
// held, as glTranslatef and friends do.
//
// A plain value: no reference count, no allocation. Operations that cannot
// produce a meaningful matrix (a singular inverse, a zero rotation axis, a
// degenerate camera or projection) return false and leave their output as it
// was. Comparison is exact.
class ECS_API CMatrix4
{
    TRELL_DECLARE_ALLOCATOR(u"CMatrix4")

public:
    // The identity.
    constexpr CMatrix4() noexcept : m_afData{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1} {}
    constexpr CMatrix4(const CVector4& column0, const CVector4& column1, const CVector4& column2,
                       const CVector4& column3) noexcept
        : m_afData{column0.x, column0.y, column0.z, column0.w, column1.x, column1.y, column1.z, column1.w,
                   column2.x, column2.y, column2.z, column2.w, column3.x, column3.y, column3.z, column3.w}
    {}
    // Sixteen values in column-major order.
    explicit CMatrix4(const float* columnMajor) noexcept
    {
        for (unsigned int i = 0; i < 16; ++i)
            m_afData[i] = columnMajor[i];
    }

    constexpr const float* getData() const { return m_afData; }
    constexpr float* getData() { return m_afData; }
    // Rows and columns 0..3; other indices are the caller's fault.
    constexpr float get(unsigned int row, unsigned int column) const { return m_afData[column * 4 + row]; }
    constexpr void set(unsigned int row, unsigned int column, float value) { m_afData[column * 4 + row] = value; }
    constexpr CVector4 getColumn(unsigned int c) const
    {
        return CVector4(m_afData[c * 4], m_afData[c * 4 + 1], m_afData[c * 4 + 2], m_afData[c * 4 + 3]);
    }
    constexpr void setColumn(unsigned int c, const CVector4& v)
    {
        m_afData[c * 4] = v.x;
        m_afData[c * 4 + 1] = v.y;
        m_afData[c * 4 + 2] = v.z;
        m_afData[c * 4 + 3] = v.w;
    }
    constexpr CVector4 getRow(unsigned int r) const
    {
        return CVector4(m_afData[r], m_afData[4 + r], m_afData[8 + r], m_afData[12 + r]);
    }
    constexpr void setIdentity() { *this = CMatrix4(); }

    // Inline, one column at a time with its four rows written out: the shape
    // the compiler turns into vector instructions at the call site.
    constexpr CMatrix4 operator*(const CMatrix4& b) const
    {
        CMatrix4 r;
        const float* a = m_afData;
        for (unsigned int c = 0; c < 4; ++c) {
            const float b0 = b.m_afData[c * 4], b1 = b.m_afData[c * 4 + 1], b2 = b.m_afData[c * 4 + 2],
                        b3 = b.m_afData[c * 4 + 3];
            float* o = r.m_afData + c * 4;
            o[0] = a[0] * b0 + a[4] * b1 + a[8] * b2 + a[12] * b3;
            o[1] = a[1] * b0 + a[5] * b1 + a[9] * b2 + a[13] * b3;
            o[2] = a[2] * b0 + a[6] * b1 + a[10] * b2 + a[14] * b3;
            o[3] = a[3] * b0 + a[7] * b1 + a[11] * b2 + a[15] * b3;
        }
        return r;
    }
    constexpr CMatrix4& operator*=(const CMatrix4& b) { return *this = *this * b; }
    constexpr CVector4 operator*(const CVector4& v) const
    {
        return getColumn(0) * v.x + getColumn(1) * v.y + getColumn(2) * v.z + getColumn(3) * v.w;
    }
    // p as (x, y, z, 1) without the bottom row: the affine part of the
    // matrix, no perspective division.
    constexpr CVector3 transformPoint(const CVector3& p) const
    {
        return (getColumn(0) * p.x + getColumn(1) * p.y + getColumn(2) * p.z + getColumn(3)).getXYZ();
    }
    // d as (x, y, z, 0): the translation does not apply.
    constexpr CVector3 transformDirection(const CVector3& d) const
    {
        return (getColumn(0) * d.x + getColumn(1) * d.y + getColumn(2) * d.z).getXYZ();
    }
    // transformPoint over count points, with the same results; out may be
    // the same array as in, but not a shifted part of it.
    void transformPoints(const CVector3* in, CVector3* out, unsigned int count) const;

    constexpr bool operator==(const CMatrix4& b) const
    {
        for (unsigned int i = 0; i < 16; ++i) {
            if (m_afData[i] != b.m_afData[i])
                return false;
        }
        return true;
    }
    constexpr bool operator!=(const CMatrix4& b) const { return !(*this == b); }

    constexpr CMatrix4 getTransposed() const { return CMatrix4(getRow(0), getRow(1), getRow(2), getRow(3)); }
    float getDeterminant() const;
    // The inverse into `inverse`. A matrix is singular, and false comes back
    // with `inverse` untouched, when its determinant is not above
    // SINGULAR_EPSILON times the permanent of its absolute values (the sum
    // of the determinant's 24 products taken without signs): rounding alone
    // can produce a determinant that small, whatever the matrix's scale or
    // translation. Non-finite entries count as singular too.
    bool getInverse(CMatrix4& inverse) const;
    static constexpr float SINGULAR_EPSILON = 16.0f * CMath::HIGH_EPSILON;

    // Builders: replace the whole matrix.
    void setTranslation(const CVector3& offset);
    void setScale(const CVector3& factors);
    // False for a zero axis; the axis need not be of length 1.
    bool setRotation(float radians, const CVector3& axis);
    // A view matrix: eye at `eye` looking at `center`, `up` giving the
    // vertical. False when eye and center coincide or up is parallel to the
    // line of sight.
    bool setLookAt(const CVector3& eye, const CVector3& center, const CVector3& up);
    // Vertical field of view in radians, aspect = width / height. False for a
    // zero aspect, equal near and far planes or a field of view whose half
    // has no finite, non-zero tangent.
    bool setPerspective(float fovY, float aspect, float zNear, float zFar);
    // False when a pair of opposite planes coincides.
    bool setOrthographic(float left, float right, float bottom, float top, float zNear, float zFar);

    // this = this * T for a translation, scale or rotation T.
    void translate(const CVector3& offset);
    void scale(const CVector3& factors);
    // False (and no change) for a zero axis.
    bool rotate(float radians, const CVector3& axis);

private:
    float m_afData[16];
};

} // namespace Trell

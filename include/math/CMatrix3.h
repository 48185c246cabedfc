#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <math/CMath.h>
#include <math/CMatrix4.h>
#include <math/CVector3.h>

namespace Trell {

// A 3x3 float matrix stored column-major like CMatrix4 (element (r, c) at
// getData()[c * 3 + r], ready for glUniformMatrix3fv): rotations, normal
// matrices and 2D affine transforms. Vectors multiply on the right.
// A plain value: no reference count, no allocation. Comparison is exact.
class ECS_API CMatrix3
{
    TRELL_DECLARE_ALLOCATOR(u"CMatrix3")

public:
    // The identity.
    constexpr CMatrix3() noexcept : m_afData{1, 0, 0, 0, 1, 0, 0, 0, 1} {}
    constexpr CMatrix3(const CVector3& column0, const CVector3& column1, const CVector3& column2) noexcept
        : m_afData{column0.x, column0.y, column0.z, column1.x, column1.y, column1.z, column2.x, column2.y, column2.z}
    {}
    // The upper left 3x3 part.
    explicit constexpr CMatrix3(const CMatrix4& m) noexcept
        : m_afData{m.get(0, 0), m.get(1, 0), m.get(2, 0), m.get(0, 1), m.get(1, 1),
                   m.get(2, 1), m.get(0, 2), m.get(1, 2), m.get(2, 2)}
    {}
    // The same transform in homogeneous form: this in the upper left, 1 in
    // the corner, zeros elsewhere.
    constexpr CMatrix4 getMatrix4() const
    {
        return CMatrix4(CVector4(getColumn(0), 0.0f), CVector4(getColumn(1), 0.0f), CVector4(getColumn(2), 0.0f),
                        CVector4(0.0f, 0.0f, 0.0f, 1.0f));
    }

    constexpr const float* getData() const { return m_afData; }
    constexpr float* getData() { return m_afData; }
    // Rows and columns 0..2; other indices are the caller's fault.
    constexpr float get(unsigned int row, unsigned int column) const { return m_afData[column * 3 + row]; }
    constexpr void set(unsigned int row, unsigned int column, float value) { m_afData[column * 3 + row] = value; }
    constexpr CVector3 getColumn(unsigned int c) const
    {
        return CVector3(m_afData[c * 3], m_afData[c * 3 + 1], m_afData[c * 3 + 2]);
    }
    constexpr CVector3 getRow(unsigned int r) const { return CVector3(m_afData[r], m_afData[3 + r], m_afData[6 + r]); }

    CMatrix3 operator*(const CMatrix3& b) const;
    constexpr CVector3 operator*(const CVector3& v) const
    {
        return getColumn(0) * v.x + getColumn(1) * v.y + getColumn(2) * v.z;
    }
    constexpr bool operator==(const CMatrix3& b) const
    {
        for (unsigned int i = 0; i < 9; ++i) {
            if (m_afData[i] != b.m_afData[i])
                return false;
        }
        return true;
    }
    constexpr bool operator!=(const CMatrix3& b) const { return !(*this == b); }

    constexpr CMatrix3 getTransposed() const { return CMatrix3(getRow(0), getRow(1), getRow(2)); }
    float getDeterminant() const;
    // As CMatrix4::getInverse: false, with `inverse` untouched, when the
    // determinant is not above SINGULAR_EPSILON times the permanent of the
    // absolute values, or an entry is not finite.
    bool getInverse(CMatrix3& inverse) const;
    static constexpr float SINGULAR_EPSILON = CMatrix4::SINGULAR_EPSILON;

private:
    float m_afData[9];
};

} // namespace Trell

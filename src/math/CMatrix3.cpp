#include <math/CMatrix3.h>

#include <cmath>

namespace Trell {

CMatrix3 CMatrix3::operator*(const CMatrix3& b) const
{
    return CMatrix3(*this * b.getColumn(0), *this * b.getColumn(1), *this * b.getColumn(2));
}

float CMatrix3::getDeterminant() const
{
    // The scalar triple product of the columns.
    return getColumn(0).dot(getColumn(1).cross(getColumn(2)));
}

bool CMatrix3::getInverse(CMatrix3& inverse) const
{
    const CVector3 c0 = getColumn(0), c1 = getColumn(1), c2 = getColumn(2);
    // The rows of the inverse are the pairwise cross products of the columns
    // divided by the determinant.
    const CVector3 r0 = c1.cross(c2), r1 = c2.cross(c0), r2 = c0.cross(c1);
    const float det = c0.dot(r0);
    const auto at = [this](unsigned int r, unsigned int c) { return std::fabs(get(r, c)); };
    const float permanent = at(0, 0) * (at(1, 1) * at(2, 2) + at(1, 2) * at(2, 1)) +
                            at(0, 1) * (at(1, 0) * at(2, 2) + at(1, 2) * at(2, 0)) +
                            at(0, 2) * (at(1, 0) * at(2, 1) + at(1, 1) * at(2, 0));
    // Written so that NaN and infinity fail the test.
    if (!(std::fabs(det) > SINGULAR_EPSILON * permanent) || !std::isfinite(permanent))
        return false;
    const float f = 1.0f / det;
    inverse = CMatrix3(r0 * f, r1 * f, r2 * f).getTransposed();
    return true;
}

} // namespace Trell

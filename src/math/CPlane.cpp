#include <math/CPlane.h>

namespace Trell {

bool CPlane::setFromPoints(const CVector3& a, const CVector3& b, const CVector3& c)
{
    const CVector3 normal = (b - a).cross(c - a).getNormalized();
    if (normal == CVector3())
        return false;
    m_vNormal = normal;
    m_fD = -normal.dot(a);
    return true;
}

bool CPlane::normalize()
{
    const float length = m_vNormal.getLength();
    if (!(length > 0.0f))
        return false;
    m_vNormal = m_vNormal / length;
    m_fD /= length;
    return true;
}

} // namespace Trell

#include <math/CColor.h>

#include <math/CMath.h>

// The named colours must be usable from any other static initialiser, in any
// order: require constant initialisation.
#if defined(__cpp_constinit)
#define ECS_CONSTINIT constinit
#elif defined(__clang__)
#define ECS_CONSTINIT [[clang::require_constant_initialization]]
#elif defined(__GNUC__)
#define ECS_CONSTINIT __constinit
#else
#define ECS_CONSTINIT
#endif

namespace Trell {

namespace {

// Below this difference two components count as equal.
constexpr float COMPONENT_EPSILON = 0.0001f;

inline unsigned int toByte(float component)
{
    return static_cast<unsigned int>(component * 255.0f);
}

inline float shifted(float component, int delta)
{
    return static_cast<float>(CMath::clamp(static_cast<int>(toByte(component)) + delta, 0, 255)) / 255.0f;
}

} // namespace

// Byte values of the CSS colours of the same names.
ECS_CONSTINIT const CColor CColor::WHITE(0xFFFFFFFFu);
ECS_CONSTINIT const CColor CColor::BLACK(0xFF000000u);
ECS_CONSTINIT const CColor CColor::GREY(0xFF808080u);
ECS_CONSTINIT const CColor CColor::RED(0xFF0000FFu);
ECS_CONSTINIT const CColor CColor::GREEN(0xFF00FF00u);
ECS_CONSTINIT const CColor CColor::BLUE(0xFFFF0000u);
ECS_CONSTINIT const CColor CColor::YELLOW(0xFF00FFFFu);
ECS_CONSTINIT const CColor CColor::PURPLE(0xFF800080u);
ECS_CONSTINIT const CColor CColor::PINK(0xFFCBC0FFu);

unsigned int CColor::getValue() const
{
    return toByte(m_fRed) | toByte(m_fGreen) << 8 | toByte(m_fBlue) << 16 | toByte(m_fAlpha) << 24;
}

void CColor::setValue(unsigned int packed)
{
    *this = CColor(packed);
}

void CColor::offset(int dr, int dg, int db)
{
    m_fRed = shifted(m_fRed, dr);
    m_fGreen = shifted(m_fGreen, dg);
    m_fBlue = shifted(m_fBlue, db);
}

bool CColor::operator==(const CColor& other) const
{
    return CMath::abs(m_fRed - other.m_fRed) < COMPONENT_EPSILON &&
           CMath::abs(m_fGreen - other.m_fGreen) < COMPONENT_EPSILON &&
           CMath::abs(m_fBlue - other.m_fBlue) < COMPONENT_EPSILON &&
           CMath::isEqual(m_fAlpha, other.m_fAlpha, COMPONENT_EPSILON);
}

bool CColor::operator!=(const CColor& other) const
{
    return !(*this == other);
}

} // namespace Trell

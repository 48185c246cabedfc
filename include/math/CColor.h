#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

// A colour as four float components, each kept in 0..1 (constructors and
// setters clamp). The packed form is one 32-bit value with red in bits 0-7,
// green in 8-15, blue in 16-23 and alpha in 24-31; packing multiplies by 255
// and truncates, unpacking divides by 255. Two colours are equal when every
// component differs by less than 0.0001.
//
// Copies start with a reference count of 0; assignment copies the value
// only. Not synchronised; the named colours are constants, safe to read
// from any thread.
class ECS_API CColor : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CColor")

public:
    static const CColor WHITE;
    static const CColor BLACK;
    static const CColor GREY;
    static const CColor RED;
    static const CColor GREEN;
    static const CColor BLUE;
    static const CColor YELLOW;
    static const CColor PURPLE;
    static const CColor PINK;

    // Opaque white.
    constexpr CColor() noexcept : CObject(), m_fRed(1.0f), m_fGreen(1.0f), m_fBlue(1.0f), m_fAlpha(1.0f) {}
    constexpr CColor(float r, float g, float b, float a) noexcept
        : CObject(), m_fRed(unit(r)), m_fGreen(unit(g)), m_fBlue(unit(b)), m_fAlpha(unit(a))
    {}
    constexpr CColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a) noexcept
        : CObject(), m_fRed(r / 255.0f), m_fGreen(g / 255.0f), m_fBlue(b / 255.0f), m_fAlpha(a / 255.0f)
    {}
    constexpr CColor(unsigned int packed) noexcept
        : CColor(getRedValue(packed), getGreenValue(packed), getBlueValue(packed), getAlphaValue(packed))
    {}
    constexpr CColor(const CColor& other) noexcept
        : CObject(), m_fRed(other.m_fRed), m_fGreen(other.m_fGreen), m_fBlue(other.m_fBlue), m_fAlpha(other.m_fAlpha)
    {}
    CColor& operator=(const CColor& other) noexcept
    {
        m_fRed = other.m_fRed;
        m_fGreen = other.m_fGreen;
        m_fBlue = other.m_fBlue;
        m_fAlpha = other.m_fAlpha;
        return *this;
    }

    float getRed() const { return m_fRed; }
    float getGreen() const { return m_fGreen; }
    float getBlue() const { return m_fBlue; }
    float getAlpha() const { return m_fAlpha; }
    void setRed(float r) { m_fRed = unit(r); }
    void setGreen(float g) { m_fGreen = unit(g); }
    void setBlue(float b) { m_fBlue = unit(b); }
    void setAlpha(float a) { m_fAlpha = unit(a); }
    float getR() const { return m_fRed; }
    float getG() const { return m_fGreen; }
    float getB() const { return m_fBlue; }
    float getA() const { return m_fAlpha; }
    void setR(float r) { setRed(r); }
    void setG(float g) { setGreen(g); }
    void setB(float b) { setBlue(b); }
    void setA(float a) { setAlpha(a); }

    unsigned int getValue() const;
    void setValue(unsigned int packed);
    static constexpr unsigned char getRedValue(unsigned int packed) { return packed & 0xFFu; }
    static constexpr unsigned char getGreenValue(unsigned int packed) { return (packed >> 8) & 0xFFu; }
    static constexpr unsigned char getBlueValue(unsigned int packed) { return (packed >> 16) & 0xFFu; }
    static constexpr unsigned char getAlphaValue(unsigned int packed) { return (packed >> 24) & 0xFFu; }

    // Each of red, green and blue as a byte (times 255, truncated), shifted
    // by its delta, clamped to 0..255 and divided by 255 again; alpha stays.
    void offset(int dr, int dg, int db);

    bool operator==(const CColor& other) const;
    bool operator!=(const CColor& other) const;

private:
    // Clamped into 0..1: the smaller of v and 1, then the larger of that and
    // 0 (as CMath::clamp), so NaN becomes 1.
    static constexpr float unit(float v)
    {
        const float upper = v < 1.0f ? v : 1.0f;
        return upper > 0.0f ? upper : 0.0f;
    }

    float m_fRed;
    float m_fGreen;
    float m_fBlue;
    float m_fAlpha;
};

} // namespace Trell

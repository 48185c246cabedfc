#include <math/CColor.h>

#include <gtest/gtest.h>

#include <array>

using namespace Trell;

// Red in the low byte.
static_assert(CColor::getRedValue(0x11223344u) == 0x44 && CColor::getGreenValue(0x11223344u) == 0x33 &&
              CColor::getBlueValue(0x11223344u) == 0x22 && CColor::getAlphaValue(0x11223344u) == 0x11);

TEST(CColor, ConstructorsClampAndPackingTruncates)
{
    const unsigned char full = 255, none = 0, half = 128, quarter = 64;
    const CColor clamped(2.0f, -1.0f, 0.5f, 1.0f);
    EXPECT_EQ(std::make_pair(clamped.getRed(), clamped.getGreen()), std::make_pair(1.0f, 0.0f));
    EXPECT_EQ(CColor(full, none, half, quarter).getValue(), 0x408000FFu);
    // Every byte survives the trip through float.
    for (unsigned int packed : {0x00000000u, 0xFFFFFFFFu, 0x80FF0000u, 0x11223344u, 0x7F01FE80u, 0xC0A0E0F0u}) {
        CColor c(0.1f, 0.2f, 0.3f, 0.4f);
        c.setValue(packed);
        EXPECT_EQ(std::make_pair(c.getValue(), CColor(packed).getValue()), std::make_pair(packed, packed));
    }
    EXPECT_EQ(CColor(0.5f, 1.0f, 0.0f, 0.25f).getValue(), 0x3F00FF7Fu); // 127.5 and 63.75 truncate

    CColor c(0xC0646464u);
    c.offset(10, -10, 0);
    EXPECT_EQ(c.getValue(), 0xC0645A6Eu);
    c.offset(300, -300, 155);
    EXPECT_EQ(c.getValue(), 0xC0FF00FFu);
}

TEST(CColor, EqualityIsWithinATenThousandthPerComponent)
{
    const CColor base(0.5f, 0.5f, 0.5f, 0.5f);
    for (int component = 0; component < 4; ++component) {
        std::array<float, 4> near{0.5f, 0.5f, 0.5f, 0.5f}, far = near;
        near[component] = 0.50009f;
        far[component] = 0.5001f;
        const CColor n(near[0], near[1], near[2], near[3]), f(far[0], far[1], far[2], far[3]);
        EXPECT_EQ((std::array<bool, 4>{base == n, base != n, base == f, base != f}),
                  (std::array<bool, 4>{true, false, false, true}))
            << component;
    }
}

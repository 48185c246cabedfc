#include <math/CColor.h>

#include <gtest/gtest.h>

using namespace Trell;

namespace {

::testing::AssertionResult holds(const CColor& c, float r, float g, float b, float a)
{
    if (c.getRed() == r && c.getGreen() == g && c.getBlue() == b && c.getAlpha() == a && c.getR() == r &&
        c.getG() == g && c.getB() == b && c.getA() == a)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << c.getRed() << ", " << c.getGreen() << ", " << c.getBlue() << ", "
                                         << c.getAlpha();
}

} // namespace

TEST(CColor, ConstructorsClampAndScale)
{
    EXPECT_TRUE(holds(CColor(), 1.0f, 1.0f, 1.0f, 1.0f));
    EXPECT_TRUE(holds(CColor(2.0f, -1.0f, 0.5f, 1.0f), 1.0f, 0.0f, 0.5f, 1.0f));
    EXPECT_TRUE(holds(CColor(0x80FF0000u), 0.0f, 0.0f, 1.0f, 128 / 255.0f));
    const unsigned char full = 255, none = 0, half = 128, quarter = 64;
    EXPECT_TRUE(holds(CColor(full, none, half, quarter), 1.0f, 0.0f, 128 / 255.0f, 64 / 255.0f));

    CColor c;
    c.setRed(-0.5f);
    c.setG(3.0f);
    c.setBlue(0.25f);
    c.setA(0.75f);
    EXPECT_TRUE(holds(c, 0.0f, 1.0f, 0.25f, 0.75f));
    c.setR(0.5f);
    c.setGreen(0.125f);
    c.setB(2.0f);
    c.setAlpha(-1.0f);
    EXPECT_TRUE(holds(c, 0.5f, 0.125f, 1.0f, 0.0f));
}

TEST(CColor, PackedForm)
{
    // Red in the low byte; every byte survives the trip through float.
    for (unsigned int packed : {0x00000000u, 0xFFFFFFFFu, 0x80FF0000u, 0x11223344u, 0x7F01FE80u, 0xC0A0E0F0u}) {
        CColor c(0.1f, 0.2f, 0.3f, 0.4f);
        c.setValue(packed);
        EXPECT_EQ(c.getValue(), packed);
        EXPECT_EQ(CColor(packed).getValue(), packed);
    }
    EXPECT_EQ(CColor::getRedValue(0x11223344u), 0x44);
    EXPECT_EQ(CColor::getGreenValue(0x11223344u), 0x33);
    EXPECT_EQ(CColor::getBlueValue(0x11223344u), 0x22);
    EXPECT_EQ(CColor::getAlphaValue(0x11223344u), 0x11);
    // Packing truncates: 0.5 * 255 = 127.5 gives 127.
    EXPECT_EQ(CColor(0.5f, 1.0f, 0.0f, 0.25f).getValue(), 0x3F00FF7Fu);
}

TEST(CColor, OffsetShiftsTheBytesAndClamps)
{
    CColor c(0xC0646464u);
    c.offset(10, -10, 0);
    EXPECT_EQ(c.getValue(), 0xC0645A6Eu);
    c.offset(300, -300, 155);
    EXPECT_EQ(c.getValue(), 0xC0FF00FFu);
    CColor any(0.3f, 0.6f, 0.9f, 0.5f);
    any.offset(300, 0, 0);
    EXPECT_EQ(any.getRed(), 1.0f);
    EXPECT_EQ(any.getAlpha(), 0.5f);
}

TEST(CColor, EqualityWithinATenThousandth)
{
    const CColor base(0.5f, 0.5f, 0.5f, 0.5f);
    for (int component = 0; component < 4; ++component) {
        float near[4] = {0.5f, 0.5f, 0.5f, 0.5f}, far[4] = {0.5f, 0.5f, 0.5f, 0.5f};
        near[component] = 0.50009f;
        far[component] = 0.5001f;
        EXPECT_TRUE(base == CColor(near[0], near[1], near[2], near[3])) << component;
        EXPECT_FALSE(base != CColor(near[0], near[1], near[2], near[3])) << component;
        EXPECT_FALSE(base == CColor(far[0], far[1], far[2], far[3])) << component;
        EXPECT_TRUE(base != CColor(far[0], far[1], far[2], far[3])) << component;
    }
}

TEST(CColor, NamedColoursAndCopies)
{
    const struct
    {
        const CColor& colour;
        unsigned int packed;
    } rows[] = {{CColor::WHITE, 0xFFFFFFFFu}, {CColor::BLACK, 0xFF000000u}, {CColor::GREY, 0xFF808080u},
                {CColor::RED, 0xFF0000FFu},   {CColor::GREEN, 0xFF00FF00u}, {CColor::BLUE, 0xFFFF0000u},
                {CColor::YELLOW, 0xFF00FFFFu}, {CColor::PURPLE, 0xFF800080u}, {CColor::PINK, 0xFFCBC0FFu}};
    for (const auto& row : rows)
        EXPECT_EQ(row.colour.getValue(), row.packed);

    CColor c(CColor::RED);
    CColor target;
    target.addRef();
    target = CColor::BLUE;
    EXPECT_EQ(c.getRef(), 0);
    EXPECT_EQ(target.getRef(), 1);
    EXPECT_TRUE(c == CColor::RED && target == CColor::BLUE);
}

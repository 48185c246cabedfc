#include <math/CMath.h>

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

using namespace Trell;

static_assert(std::bit_cast<std::uint32_t>(CMath::PI) == 0x40490FDBu);
static_assert(std::bit_cast<std::uint32_t>(CMath::HALF_PI) == 0x3FC90FDBu);
static_assert(std::bit_cast<std::uint32_t>(CMath::LOW_EPSILON) == 0x3A83126Fu);
static_assert(std::bit_cast<std::uint32_t>(CMath::HIGH_EPSILON) == 0x34000000u);
static_assert(std::bit_cast<std::uint32_t>(CMath::POS_INFINITY) == 0xC61C4000u);
static_assert(CMath::abs(-3) == 3 && CMath::abs(INT_MIN) == INT_MIN && CMath::abs(-2.5f) == 2.5f);
static_assert(CMath::clamp(5, 0, 3) == 3 && CMath::clamp(-1, 0, 3) == 0 && CMath::clamp(2, 5, 1) == 5);
static_assert(CMath::clamp(7u, 2u, 4u) == 4u && CMath::clamp(0.5f, 0.0f, 1.0f) == 0.5f);
static_assert(CMath::getMin(2u, 1u) == 1u && CMath::getMax(-2.0f, 1.0f) == 1.0f && CMath::sqr(-3.0f) == 9.0f);

TEST(CMath, RoundingTruncatesTowardZeroFirst)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct
    {
        float x;
        int round, roundUp, roundDown;
    } const rows[] = {
        {3.0f, 3, 4, 3},   {2.0f, 2, 3, 2},     {2.5f, 3, 3, 2},        {-2.5f, -2, -1, -2},
        {-1.6f, -1, 0, -1}, {-1.5f, -1, 0, -1}, {-0.4f, 0, 1, 0},       {0.49f, 0, 1, 0},
        // Beyond the int range and NaN give INT_MIN; roundUp wraps from there.
        {3e9f, INT_MIN, INT_MIN + 1, INT_MIN}, {nan, INT_MIN, INT_MIN + 1, INT_MIN},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(CMath::round(r.x), r.round) << r.x;
        EXPECT_EQ(CMath::roundUp(r.x), r.roundUp) << r.x;
        EXPECT_EQ(CMath::roundDown(r.x), r.roundDown) << r.x;
    }
}

TEST(CMath, ZeroAndEqualityAreStrictInSinglePrecision)
{
    struct
    {
        float a, b, epsilon;
        bool equal;
    } const rows[] = {
        {1.0f, 1.0005f, 0.001f, true},
        {1.0f, 1.001f, 0.001f, false}, // the float difference is 0.0010000467
        {0.0f, 0.001f, 0.001f, false}, // equal to epsilon: not below it
        {0.0f, -0.0009f, 0.001f, true},
        // 2^25 - 1 rounds to 2^25 in single precision; in double it would pass.
        {33554432.0f, 1.0f, 33554432.0f, false},
    };
    for (const auto& r : rows) {
        EXPECT_EQ(CMath::isEqual(r.a, r.b, r.epsilon), r.equal) << r.a << " " << r.b;
        EXPECT_EQ(CMath::isNotEqual(r.a, r.b, r.epsilon), !r.equal) << r.a << " " << r.b;
    }
    EXPECT_TRUE(CMath::isZero(0.0f) && CMath::isZero(-0.0000999f));
    EXPECT_FALSE(CMath::isZero(0.0001f) || CMath::isZero(-0.0001f));
    EXPECT_EQ(CMath::getNonZero(-0.00001f), 0.0001f);
    EXPECT_EQ(CMath::getNonZero(0.0f), 0.0001f);
    EXPECT_EQ(CMath::getNonZero(-0.0001f), -0.0001f);
    EXPECT_EQ(CMath::getNonZero(5.0f), 5.0f);
    EXPECT_TRUE(CMath::isNaN(std::numeric_limits<float>::quiet_NaN()));
    EXPECT_FALSE(CMath::isNaN(std::numeric_limits<float>::infinity()));
}

TEST(CMath, SignsSwapsAndPowers)
{
    EXPECT_EQ(CMath::sign(-7) * 100 + CMath::sign(0) * 10 + CMath::sign(9), -99);
    EXPECT_EQ(CMath::sign(-0.5f), -1.0f);
    EXPECT_EQ(CMath::sign(0.25f), 1.0f);
    EXPECT_EQ(CMath::sign(-0.0f), 0.0f);

    int i1 = 5, i2 = -2;
    CMath::swapAtMinMax(i1, i2);
    unsigned int u1 = 9, u2 = 3;
    CMath::swapAtMinMax(u1, u2);
    float f1 = 2.0f, f2 = 1.0f;
    CMath::swapAtMinMax(f1, f2);
    EXPECT_TRUE(i1 == -2 && i2 == 5 && u1 == 3 && u2 == 9 && f1 == 1.0f && f2 == 2.0f);
    CMath::swapAtMinMax(i1, i2); // already ordered: stays
    CMath::swap(f1, f2);
    EXPECT_TRUE(i1 == -2 && i2 == 5 && f1 == 2.0f && f2 == 1.0f);

    EXPECT_EQ(CMath::pow(3, 4u), 81);
    EXPECT_EQ(CMath::pow(-2, 3u), -8);
    EXPECT_EQ(CMath::pow(7, 0u), 1);
    EXPECT_EQ(CMath::pow(2, 32u), 0); // wraps as 32-bit multiplication
    EXPECT_EQ(CMath::pow(1.5f, 2u), 2.25f);
    EXPECT_EQ(CMath::pow(0.0f, 0u), 1.0f);
    // The float exponents round the double result once.
    EXPECT_EQ(CMath::pow(10, 0.5f), static_cast<float>(std::pow(10.0, 0.5)));
    EXPECT_EQ(CMath::pow(2u, -1.0f), 0.5f);
    EXPECT_EQ(CMath::pow(1.1f, 2.2f), static_cast<float>(std::pow(double(1.1f), double(2.2f))));
}

TEST(CMath, WrappersAndAngles)
{
    EXPECT_EQ(CMath::invSqrt(4.0f), 0.25f); // the reciprocal, no root
    EXPECT_EQ(CMath::sqrt(6.25f), 2.5f);
    EXPECT_EQ(CMath::toAngle(1.0f), 57.29578f);
    EXPECT_EQ(CMath::toRadian(90.0f), 90.0f * CMath::PI / 180.0f);
    EXPECT_EQ(CMath::atan2(1.0f, 0.0f), CMath::HALF_PI);
    // Read at run time: the compiler would fold the reference calls with
    // correct rounding, where the runtime may be one unit off.
    volatile float input = 0.7f;
    const float x = input;
    const float ours[] = {CMath::sin(x),  CMath::cos(x),  CMath::tan(x),  CMath::asin(x), CMath::acos(x),
                          CMath::atan(x), CMath::sinh(x), CMath::cosh(x), CMath::tanh(x), CMath::log(x),
                          CMath::log10(x), CMath::exp(x), CMath::fmod(7.5f, x)};
    const float reference[] = {std::sin(x),  std::cos(x),  std::tan(x),  std::asin(x), std::acos(x),
                               std::atan(x), std::sinh(x), std::cosh(x), std::tanh(x), std::log(x),
                               std::log10(x), std::exp(x), std::fmod(7.5f, x)};
    for (unsigned int i = 0; i < sizeof(ours) / sizeof(ours[0]); ++i)
        EXPECT_EQ(ours[i], reference[i]) << i;
}

TEST(CMath, RandomStaysInItsRanges)
{
    bool highBitsSeen = false;
    for (int i = 0; i < 2000; ++i) {
        EXPECT_LE(CMath::random(), 32767);
        const int r = CMath::random(-3, 3);
        EXPECT_TRUE(r >= -3 && r <= 3) << r;
        EXPECT_EQ(CMath::random(5, 5), 5);
        highBitsSeen = highBitsSeen || CMath::random() > 16383;
    }
    EXPECT_TRUE(highBitsSeen);
    // The full int range does not overflow into an empty one.
    bool aboveMin = false;
    for (int i = 0; i < 20; ++i)
        aboveMin = aboveMin || CMath::random(INT_MIN, INT_MAX) > INT_MIN;
    EXPECT_TRUE(aboveMin);
    // Empty and reversed ranges give min instead of dividing by zero.
    EXPECT_EQ(CMath::random(4, 3), 4);
    EXPECT_EQ(CMath::random(10, -10), 10);
}

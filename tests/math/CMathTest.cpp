#include <math/CMath.h>

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <tuple>

using namespace Trell;

static_assert(std::bit_cast<std::uint32_t>(CMath::PI) == 0x40490FDBu &&
              std::bit_cast<std::uint32_t>(CMath::HALF_PI) == 0x3FC90FDBu &&
              std::bit_cast<std::uint32_t>(CMath::LOW_EPSILON) == 0x3A83126Fu &&
              std::bit_cast<std::uint32_t>(CMath::HIGH_EPSILON) == 0x34000000u &&
              std::bit_cast<std::uint32_t>(CMath::POS_INFINITY) == 0xC61C4000u);
static_assert(CMath::abs(-3) == 3 && CMath::abs(INT_MIN) == INT_MIN && CMath::abs(-2.5f) == 2.5f);
static_assert(CMath::clamp(5, 0, 3) == 3 && CMath::clamp(-1, 0, 3) == 0 && CMath::clamp(2, 5, 1) == 5 &&
              CMath::clamp(7u, 2u, 4u) == 4u && CMath::clamp(0.5f, 0.0f, 1.0f) == 0.5f);
static_assert(CMath::getMin(2u, 1u) == 1u && CMath::getMax(-2.0f, 1.0f) == 1.0f && CMath::sqr(-3.0f) == 9.0f);

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

TEST(CMath, RoundingTruncatesTowardZeroFirst)
{
    // x, round, roundUp, roundDown. Beyond the int range and NaN give INT_MIN.
    const std::tuple<float, int, int, int> rows[] = {{3.0f, 3, 4, 3},
                                                     {2.5f, 3, 3, 2},
                                                     {-2.5f, -2, -1, -2},
                                                     {-0.4f, 0, 1, 0},
                                                     {3e9f, INT_MIN, INT_MIN + 1, INT_MIN},
                                                     {NaN, INT_MIN, INT_MIN + 1, INT_MIN}};
    for (const auto& [x, round, up, down] : rows)
        EXPECT_EQ(std::make_tuple(CMath::round(x), CMath::roundUp(x), CMath::roundDown(x)),
                  std::make_tuple(round, up, down))
            << x;
}

TEST(CMath, ZeroAndEqualityAreStrictInSinglePrecision)
{
    // 1.001f - 1 is 0.0010000467; a difference equal to epsilon is not below
    // it; 2^25 - 1 rounds to 2^25 in single precision (in double it passes).
    const std::tuple<float, float, float, bool> rows[] = {{1.0f, 1.0005f, 0.001f, true},
                                                          {1.0f, 1.001f, 0.001f, false},
                                                          {0.0f, 0.001f, 0.001f, false},
                                                          {0.0f, -0.0009f, 0.001f, true},
                                                          {33554432.0f, 1.0f, 33554432.0f, false}};
    for (const auto& [a, b, epsilon, equal] : rows)
        EXPECT_EQ(std::make_pair(CMath::isEqual(a, b, epsilon), CMath::isNotEqual(a, b, epsilon)),
                  std::make_pair(equal, !equal))
            << a << " " << b;
    EXPECT_TRUE(CMath::isZero(0.0f) && CMath::isZero(-0.0000999f) && !CMath::isZero(0.0001f) &&
                !CMath::isZero(-0.0001f));
    for (const auto& [in, out] : {std::pair{-0.00001f, 0.0001f}, {0.0f, 0.0001f}, {-0.0001f, -0.0001f}, {5.0f, 5.0f}})
        EXPECT_EQ(CMath::getNonZero(in), out) << in;
}

TEST(CMath, SignsSwapsPowersAndAngles)
{
    EXPECT_EQ(std::make_tuple(CMath::sign(-7), CMath::sign(0), CMath::sign(9)), std::make_tuple(-1, 0, 1));
    EXPECT_EQ(std::make_tuple(CMath::sign(-0.5f), CMath::sign(-0.0f), CMath::sign(0.25f)),
              std::make_tuple(-1.0f, 0.0f, 1.0f));
    int i1 = 5, i2 = -2;
    unsigned int u1 = 9, u2 = 3;
    float f1 = 2.0f, f2 = 1.0f;
    CMath::swapAtMinMax(i1, i2);
    CMath::swapAtMinMax(u1, u2);
    CMath::swapAtMinMax(f1, f2);
    EXPECT_EQ(std::make_tuple(i1, i2, u1, u2, f1, f2), std::make_tuple(-2, 5, 3u, 9u, 1.0f, 2.0f));
    CMath::swapAtMinMax(i1, i2);             // already ordered: stays
    float zero = 0.0f, negativeZero = -0.0f; // equal: stays, sign bits included
    CMath::swapAtMinMax(zero, negativeZero);
    EXPECT_TRUE(i1 == -2 && i2 == 5 && !std::signbit(zero) && std::signbit(negativeZero));

    EXPECT_EQ(std::make_tuple(CMath::pow(3, 4u), CMath::pow(-2, 3u), CMath::pow(7, 0u), CMath::pow(2, 32u)),
              std::make_tuple(81, -8, 1, 0)); // the last wraps as 32-bit multiplication does
    EXPECT_EQ(std::make_pair(CMath::pow(1.5f, 2u), CMath::pow(0.0f, 0u)), std::make_pair(2.25f, 1.0f));
    EXPECT_EQ(CMath::invSqrt(4.0f), 0.25f); // the reciprocal, no root
}

TEST(CMath, RandomStaysInItsRanges)
{
    bool highHalf = false, aboveMin = false;
    for (int i = 0; i < 2000; ++i) {
        const int r = CMath::random(-3, 3);
        const unsigned short u = CMath::random();
        EXPECT_TRUE(r >= -3 && r <= 3 && u <= 32767) << r << " " << u;
        highHalf = highHalf || u > 16383;
        // The full int range does not overflow into an empty one.
        aboveMin = aboveMin || CMath::random(INT_MIN, INT_MAX) > INT_MIN;
    }
    // Single, empty and reversed ranges give min instead of dividing by zero.
    EXPECT_TRUE(highHalf && aboveMin && CMath::random(5, 5) == 5 && CMath::random(4, 3) == 4 &&
                CMath::random(10, -10) == 10);
}

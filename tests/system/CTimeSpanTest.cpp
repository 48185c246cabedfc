#include <system/CTimeSpan.h>

#include <gtest/gtest.h>

using namespace Trell;

TEST(CTimeSpan, PartsOfAPositiveSpan)
{
    const CTimeSpan span(2 * 86400 + 3 * 3600 + 4 * 60 + 5);
    EXPECT_EQ(span.getTotalSeconds(), 183845);
    EXPECT_EQ(span.getTotalMinutes(), 3064);
    EXPECT_EQ(span.getTotalHours(), 51);
    EXPECT_EQ(span.getTotalDays(), 2);
    EXPECT_EQ(span.getDays(), 2u);
    EXPECT_EQ(span.getHours(), 3);
    EXPECT_EQ(span.getMinutes(), 4);
    EXPECT_EQ(span.getSeconds(), 5);
    EXPECT_EQ(CTimeSpan().getTotalSeconds(), 0);
}

TEST(CTimeSpan, NegativeSpansTruncateTowardZero)
{
    const CTimeSpan span(-(86400 + 3600 + 60 + 1));
    EXPECT_EQ(span.getTotalMinutes(), -1501);
    EXPECT_EQ(span.getTotalHours(), -25);
    // The low 32 bits of -1, zero-extended.
    EXPECT_EQ(span.getTotalDays(), 0xFFFFFFFFll);
    EXPECT_EQ(span.getDays(), 0xFFFFFFFFu);
    EXPECT_EQ(span.getHours(), static_cast<unsigned short>(-1));
    EXPECT_EQ(span.getMinutes(), static_cast<unsigned short>(-1));
    EXPECT_EQ(span.getSeconds(), static_cast<unsigned short>(-1));
}

TEST(CTimeSpan, TotalDaysKeepsOnlyTheLowThirtyTwoBitsAndSpansCompareBySeconds)
{
    const long long days = (1ll << 32) + 5;
    EXPECT_EQ(CTimeSpan(days * 86400).getTotalDays(), 5);
    const CTimeSpan a(-5), b(7);
    EXPECT_TRUE(a < b && b > a && a <= a && b >= a && a != b && !(a == b));
}

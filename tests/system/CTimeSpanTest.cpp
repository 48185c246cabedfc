#include <system/CTimeSpan.h>

#include <gtest/gtest.h>

#include <vector>

using namespace Trell;

namespace {

std::vector<long long> parts(const CTimeSpan& s)
{
    return {s.getTotalSeconds(), s.getTotalMinutes(), s.getTotalHours(), s.getTotalDays(),
            s.getDays(),         s.getHours(),        s.getMinutes(),    s.getSeconds()};
}

} // namespace

TEST(CTimeSpan, PartsTruncateTowardZeroAndTotalDaysKeepsThirtyTwoBits)
{
    EXPECT_EQ(parts(CTimeSpan(2 * 86400 + 3 * 3600 + 4 * 60 + 5)),
              (std::vector<long long>{183845, 3064, 51, 2, 2, 3, 4, 5}));
    EXPECT_EQ(parts(CTimeSpan()), std::vector<long long>(8, 0));
    // Negative spans: the day counts are the low 32 bits of -1 zero-extended,
    // the other parts its 16 bits.
    EXPECT_EQ(parts(CTimeSpan(-(86400 + 3600 + 60 + 1))),
              (std::vector<long long>{-90061, -1501, -25, 0xFFFFFFFFll, 0xFFFFFFFFll, 0xFFFF, 0xFFFF, 0xFFFF}));
    EXPECT_EQ(CTimeSpan(((1ll << 32) + 5) * 86400).getTotalDays(), 5);
    const CTimeSpan a(-5), b(7);
    EXPECT_TRUE(a < b && b > a && a <= a && b >= a && a != b && !(a == b));
}

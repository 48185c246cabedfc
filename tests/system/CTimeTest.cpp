#include <system/CTime.h>
#include <system/CTimeSpan.h>

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using namespace Trell;
namespace chr = std::chrono;

namespace {

// All seven fields as "Y-M-D h:m:s.ms", so one comparison checks them all.
std::string fields(const CTime& t)
{
    return std::to_string(t.getYear()) + "-" + std::to_string(t.getMonth()) + "-" + std::to_string(t.getDay()) + " " +
           std::to_string(t.getHour()) + ":" + std::to_string(t.getMinute()) + ":" + std::to_string(t.getSecond()) +
           "." + std::to_string(t.getMilliseconds());
}

const chr::sys_days FIRST_DAY = chr::sys_days(chr::year(1) / chr::January / 1);
const long long LAST_DAY = (chr::sys_days(chr::year(9999) / chr::December / 31) - FIRST_DAY).count();

} // namespace

// The calendar arithmetic against the standard library's over the ends of
// the range, the last days of 400-, 100- and 4-year cycles and random dates.
TEST(CTime, AgreesWithStdChronoOverTheWholeRange)
{
    std::vector<long long> days = {0, LAST_DAY};
    for (const chr::year_month_day ymd : {chr::year(400) / 12 / 31, chr::year(2000) / 12 / 31, chr::year(2000) / 2 / 29,
                                          chr::year(1900) / 12 / 31, chr::year(2004) / 12 / 31})
        days.push_back((chr::sys_days(ymd) - FIRST_DAY).count());
    std::mt19937 random(20210430u);
    std::uniform_int_distribution<long long> anyDay(0, LAST_DAY);
    std::uniform_int_distribution<int> anyHour(0, 23), anyMinute(0, 59);
    int failures = 0;
    for (std::size_t i = 0; i < 100000 && failures < 10; ++i) {
        const chr::sys_days day = FIRST_DAY + chr::days(i < days.size() ? days[i] : anyDay(random));
        const chr::year_month_day ymd(day);
        const int hour = i == 1 ? 23 : anyHour(random), minute = anyMinute(random), second = anyMinute(random);
        const CTime t(static_cast<unsigned short>(int(ymd.year())), static_cast<unsigned short>(unsigned(ymd.month())),
                      static_cast<unsigned short>(unsigned(ymd.day())), static_cast<unsigned short>(hour),
                      static_cast<unsigned short>(minute), static_cast<unsigned short>(second));
        const long long expectedDays = (day - FIRST_DAY).count();
        if (!t.isValidDate() || t.getTotalDays() != static_cast<unsigned int>(expectedDays) ||
            t.getDayOfWeek() != chr::weekday(day).c_encoding() ||
            t.getTotalSeconds() != ((expectedDays * 24 + hour) * 60 + minute) * 60 + second ||
            CTime(t.getTotalSeconds()) != t || t.isLeapYear() != ymd.year().is_leap() ||
            t.getDayCountOfThisYear() != (ymd.year().is_leap() ? 366 : 365) ||
            t.getDayCountOfThisMonth() != static_cast<int>(unsigned((ymd.year() / ymd.month() / chr::last).day()))) {
            ++failures;
            ADD_FAILURE() << "date " << fields(t) << " days " << t.getTotalDays() << " expected " << expectedDays;
        }
    }
    // Totals outside the range are clamped.
    EXPECT_EQ(fields(CTime(-1LL)), "1-1-1 0:0:0.0");
    EXPECT_EQ(fields(CTime(1LL << 62)), "9999-12-31 23:59:59.0");
}

// Fields are clamped into range. Month and year offsets fit the day into the
// new month; day offsets move through the total seconds and drop the
// milliseconds.
TEST(CTime, FieldsAreClampedAndOffsetsFitTheDay)
{
    EXPECT_TRUE(CTime().isZeroDate());
    EXPECT_FALSE(CTime(1, 1, 1, 0, 0, 0, 1).isZeroDate() || CTime(2021, 1, 1).isZeroDate());
    const std::pair<CTime, const char*> clamped[] = {{CTime(2021, 2, 30, 25, 61, 61, 1500), "2021-2-28 23:59:59.999"},
                                                     {CTime(0, 0, 0, 0, 0, 0, 0), "1-1-1 0:0:0.0"},
                                                     {CTime(10000, 13, 32), "9999-12-31 0:0:0.0"},
                                                     {CTime(1900, 2, 29), "1900-2-28 0:0:0.0"},
                                                     {CTime(2000, 2, 29), "2000-2-29 0:0:0.0"}};
    for (const auto& [time, expected] : clamped)
        EXPECT_EQ(fields(time), expected);
    const auto month = &CTime::offsetMonth, year = &CTime::offsetYear, day = &CTime::offsetDay;
    const std::tuple<CTime, void (CTime::*)(int), int, const char*> rows[] = {
        {CTime(2021, 1, 31), month, 1, "2021-2-28 0:0:0.0"},
        {CTime(2020, 12, 15), month, 13, "2022-1-15 0:0:0.0"},
        {CTime(2021, 3, 31), month, -25, "2019-2-28 0:0:0.0"},
        {CTime(2020, 2, 29, 10, 0, 0, 5), year, 1, "2021-2-28 10:0:0.5"},
        {CTime(2021, 12, 31, 23, 0, 0, 500), day, 1, "2022-1-1 23:0:0.0"},
        {CTime(2024, 3, 1), day, -1, "2024-2-29 0:0:0.0"},
        // The year is not clamped.
        {CTime(9999, 6, 1), year, 1, "10000-6-1 0:0:0.0"},
    };
    for (const auto& [start, offset, by, expected] : rows) {
        CTime t(start);
        (t.*offset)(by);
        EXPECT_EQ(fields(t), expected) << fields(start) << " by " << by;
        EXPECT_EQ(t.isValidDate(), t.getYear() <= 9999);
    }
    // 30000 days of seconds do not fit in 32 bits: the product wraps (deliberately kept).
    CTime t(5000, 1, 1);
    const CTime expected(t.getTotalSeconds() + static_cast<int>(30000u * 86400u));
    t.offsetDay(30000);
    EXPECT_EQ(t, expected);
}

TEST(CTime, StridesComparisonsAndDifferenceSpans)
{
    const CTime a(2021, 4, 30), b(2019, 11, 2);
    EXPECT_EQ(a.getStrideYears(a) + a.getStrideMonths(a) + a.getStrideDays(a), 3u);
    EXPECT_TRUE(a.getStrideYears(b) == 3u && b.getStrideYears(a) == 3u);
    EXPECT_EQ(a.getStrideMonths(b), 18u);
    EXPECT_EQ(a.getStrideDays(b), a.getTotalDays() - b.getTotalDays() + 1);

    const CTime c(2021, 4, 30, 12, 0, 0, 1), d(2021, 4, 30, 12, 0, 0, 2);
    EXPECT_TRUE(c.compareDate(d) == 0 && CTime(2021, 5, 1).compareDate(c) == 1);
    EXPECT_TRUE(c.compareFullTime(d) == -1 && d.compareFullTime(c) == 1);
    EXPECT_TRUE(c < d && d > c && c <= d && c <= c && c >= c && !(c >= d) && c != d && c == CTime(c));

    // Whole seconds only: the milliseconds are ignored.
    EXPECT_EQ((CTime(2021, 5, 1, 0, 0, 1, 999) - CTime(2021, 4, 30, 23, 59, 59, 0)).getTotalSeconds(), 2);
    EXPECT_EQ((CTime(2021, 4, 30, 23, 59, 59, 0) - CTime(2021, 5, 1, 0, 0, 1, 999)).getTotalSeconds(), -2);

    const CTime now = CTime::getCurrentTime();
    EXPECT_TRUE(now.isValidDate() && now.getYear() >= 2020 && now.getMilliseconds() <= 999) << fields(now);

    // Span parts truncate toward zero; for negative spans the day counts are
    // the low 32 bits of -1 zero-extended, the other parts its 16 bits.
    const auto parts = [](const CTimeSpan& s) {
        return std::vector<long long>{s.getTotalSeconds(), s.getTotalMinutes(), s.getTotalHours(), s.getTotalDays(),
                                      s.getDays(),         s.getHours(),        s.getMinutes(),    s.getSeconds()};
    };
    EXPECT_EQ(parts(CTimeSpan(183845)), (std::vector<long long>{183845, 3064, 51, 2, 2, 3, 4, 5}));
    EXPECT_EQ(parts(CTimeSpan(-90061)),
              (std::vector<long long>{-90061, -1501, -25, 0xFFFFFFFFll, 0xFFFFFFFFll, 0xFFFF, 0xFFFF, 0xFFFF}));
    EXPECT_EQ(CTimeSpan(((1ll << 32) + 5) * 86400).getTotalDays(), 5);
    const CTimeSpan minus(-5), plus(7);
    EXPECT_TRUE(minus < plus && plus > minus && minus <= minus && plus >= minus && minus != plus && !(minus == plus));
}

// POSIX only (Win32LayerTest checks the Windows tick): listed in tests/WindowsSkips.cmake.
#ifndef _WIN32
// The tick may be served from a per-thread cache between clock reads; it must
// still always be a millisecond the monotonic clock showed during the call
// (which also keeps it from going back on a thread).
TEST(CTime, TickCountStartsAtZeroAndStaysWithinTheMonotonicClockOnEveryThread)
{
    CTime::s_ulStartTickCount = 0;
    EXPECT_EQ(CTime::getTickCount(), 0u);
    const unsigned int base = CTime::s_ulStartTickCount.load();
    EXPECT_NE(base, 0u);
    const auto clockMs = [base] {
        return static_cast<unsigned int>(
                   chr::duration_cast<chr::milliseconds>(chr::steady_clock::now().time_since_epoch()).count()) -
               base;
    };
    std::vector<unsigned int> outside(3, 0);
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < outside.size(); ++t) {
        threads.emplace_back([&, t] {
            for (const auto end = chr::steady_clock::now() + chr::milliseconds(300); chr::steady_clock::now() < end;) {
                const unsigned int before = clockMs(), tick = CTime::getTickCount(), after = clockMs();
                outside[t] += tick - before > after - before;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(outside, std::vector<unsigned int>(3, 0));
}
#endif

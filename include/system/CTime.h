#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <system/CTimeSpan.h>

#include <atomic>

namespace Trell {

// A proleptic Gregorian date and time from 0001-01-01 to 9999-12-31 with
// milliseconds, and the library's millisecond tick clock. Day 0 is
// 0001-01-01 (a Monday). The default value, the zero date, is
// 0001-01-01 00:00:00.000.
class ECS_API CTime : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CTime")

public:
    CTime();
    // Clamps every field into range (year 1..9999, month 1..12, day to the
    // month's length, hour 23, minute 59, second 59, millisecond 999).
    CTime(unsigned short usYear, unsigned short usMonth, unsigned short usDay, unsigned short usHour = 0,
          unsigned short usMinute = 0, unsigned short usSecond = 0, unsigned short usMilliseconds = 0);
    // From seconds since 0001-01-01 00:00:00; millisecond 0. Negative counts
    // give the zero date and counts past 9999-12-31 23:59:59 give that value.
    explicit CTime(long long llTotalSeconds);
    CTime(const CTime& other);
    CTime& operator=(const CTime& other);

    // Local wall-clock time with milliseconds.
    static CTime getCurrentTime();
    // Milliseconds since the common tick base s_ulStartTickCount, which the
    // first call sets (and then returns 0). Wraps with the 32-bit count.
    static unsigned int getTickCount();

    unsigned short getYear() const { return m_usYear; }
    unsigned short getMonth() const { return m_usMonth; }
    unsigned short getDay() const { return m_usDay; }
    unsigned short getHour() const { return m_usHour; }
    unsigned short getMinute() const { return m_usMinute; }
    unsigned short getSecond() const { return m_usSecond; }
    unsigned short getMilliseconds() const { return m_usMilliseconds; }

    bool isLeapYear() const;
    bool isValidDate() const;
    bool isZeroDate() const;
    void setZeroDate();
    unsigned short getDayCountOfThisYear() const;
    // 28..31 for months 1..12, 0 for any other month value.
    unsigned char getDayCountOfThisMonth() const;
    unsigned int getTotalDays() const;
    // 0 Sunday, 1 Monday, ..., 6 Saturday.
    unsigned int getDayOfWeek() const;
    // Milliseconds are not counted.
    long long getTotalSeconds() const;

    // Adds to the year with 16-bit wrap (no clamping), then fits the day.
    void offsetYear(int iYears);
    void offsetMonth(int iMonths);
    // Moves by whole days through the total seconds; the millisecond becomes 0.
    void offsetDay(int iDays);

    // Calendar years, months and days touched, both ends included.
    unsigned int getStrideYears(const CTime& other) const;
    unsigned int getStrideMonths(const CTime& other) const;
    unsigned int getStrideDays(const CTime& other) const;

    // 1, -1 or 0 by year, month and day only.
    int compareDate(const CTime& other) const;
    // 1, -1 or 0 over all seven fields.
    int compareFullTime(const CTime& other) const;

    bool operator==(const CTime& other) const { return compareFullTime(other) == 0; }
    bool operator!=(const CTime& other) const { return compareFullTime(other) != 0; }
    bool operator<(const CTime& other) const { return compareFullTime(other) < 0; }
    bool operator>(const CTime& other) const { return compareFullTime(other) > 0; }
    bool operator<=(const CTime& other) const { return !(*this > other); }
    bool operator>=(const CTime& other) const { return !(*this < other); }
    // This value's total seconds minus the other's (milliseconds ignored).
    CTimeSpan operator-(const CTime& other) const;

    // The system tick count at the first getTickCount (or timer) call; 0 while unset.
    static std::atomic<unsigned int> s_ulStartTickCount;

private:
    void rectifyDay();
    void setFromTotalSeconds(long long llTotalSeconds);

    unsigned short m_usYear;
    unsigned short m_usMonth;
    unsigned short m_usDay;
    unsigned short m_usHour;
    unsigned short m_usMinute;
    unsigned short m_usSecond;
    unsigned short m_usMilliseconds;
};

} // namespace Trell

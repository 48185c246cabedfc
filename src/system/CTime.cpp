#include <system/CTime.h>

#include <platform/PlatformImp.h>

namespace Trell {

namespace {

const long long SECONDS_PER_DAY = 86400;
// Days from 0001-01-01 to 9999-12-31 inclusive.
const long long DAYS_IN_RANGE = 3652059;

bool isLeap(unsigned int uiYear)
{
    return (uiYear % 4 == 0 && uiYear % 100 != 0) || uiYear % 400 == 0;
}

unsigned int daysInMonth(unsigned int uiYear, unsigned int uiMonth)
{
    switch (uiMonth) {
    case 1:
    case 3:
    case 5:
    case 7:
    case 8:
    case 10:
    case 12: return 31;
    case 4:
    case 6:
    case 9:
    case 11: return 30;
    case 2: return isLeap(uiYear) ? 29 : 28;
    default: return 0;
    }
}

// Days before the first of each month in a common year (index 1..12).
const unsigned short DAYS_BEFORE_MONTH[13] = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

int compareValues(unsigned int a, unsigned int b)
{
    return a > b ? 1 : (a < b ? -1 : 0);
}

} // namespace

std::atomic<unsigned int> CTime::s_ulStartTickCount{0};

CTime::CTime() : m_usYear(1), m_usMonth(1), m_usDay(1), m_usHour(0), m_usMinute(0), m_usSecond(0), m_usMilliseconds(0)
{}

CTime::CTime(unsigned short usYear, unsigned short usMonth, unsigned short usDay, unsigned short usHour,
             unsigned short usMinute, unsigned short usSecond, unsigned short usMilliseconds)
    : m_usYear(usYear == 0 ? 1 : (usYear > 9999 ? 9999 : usYear)),
      m_usMonth(usMonth == 0 ? 1 : (usMonth > 12 ? 12 : usMonth)), m_usDay(usDay), m_usHour(usHour > 23 ? 23 : usHour),
      m_usMinute(usMinute > 59 ? 59 : usMinute), m_usSecond(usSecond > 59 ? 59 : usSecond),
      m_usMilliseconds(usMilliseconds > 999 ? 999 : usMilliseconds)
{
    rectifyDay();
}

CTime::CTime(long long llTotalSeconds) : CTime()
{
    setFromTotalSeconds(llTotalSeconds);
}

// A copy is a fresh value: it takes the seven fields, not the reference count.
CTime::CTime(const CTime& other)
    : CObject(), m_usYear(other.m_usYear), m_usMonth(other.m_usMonth), m_usDay(other.m_usDay), m_usHour(other.m_usHour),
      m_usMinute(other.m_usMinute), m_usSecond(other.m_usSecond), m_usMilliseconds(other.m_usMilliseconds)
{}

CTime& CTime::operator=(const CTime& other)
{
    m_usYear = other.m_usYear;
    m_usMonth = other.m_usMonth;
    m_usDay = other.m_usDay;
    m_usHour = other.m_usHour;
    m_usMinute = other.m_usMinute;
    m_usSecond = other.m_usSecond;
    m_usMilliseconds = other.m_usMilliseconds;
    return *this;
}

CTime CTime::getCurrentTime()
{
    PlatformImp::tagLocalTime local;
    PlatformImp::getLocalTime(local);
    return CTime(local.usYear, local.usMonth, local.usDay, local.usHour, local.usMinute, local.usSecond,
                 local.usMilliseconds);
}

unsigned int CTime::getTickCount()
{
    const unsigned int uiNow = PlatformImp::getSystemTickCount();
    unsigned int uiBase = s_ulStartTickCount.load();
    if (uiBase == 0) {
        // The first caller sets the base; a racing caller uses the winner's.
        unsigned int uiExpected = 0;
        if (s_ulStartTickCount.compare_exchange_strong(uiExpected, uiNow))
            return 0;
        uiBase = uiExpected;
    }
    return uiNow - uiBase;
}

bool CTime::isLeapYear() const
{
    return isLeap(m_usYear);
}

bool CTime::isValidDate() const
{
    return m_usYear >= 1 && m_usYear <= 9999 && m_usMonth >= 1 && m_usMonth <= 12 && m_usDay >= 1 &&
           m_usDay <= daysInMonth(m_usYear, m_usMonth);
}

bool CTime::isZeroDate() const
{
    return m_usYear == 1 && m_usMonth == 1 && m_usDay == 1 && m_usHour == 0 && m_usMinute == 0 && m_usSecond == 0 &&
           m_usMilliseconds == 0;
}

void CTime::setZeroDate()
{
    m_usYear = 1;
    m_usMonth = 1;
    m_usDay = 1;
    m_usHour = 0;
    m_usMinute = 0;
    m_usSecond = 0;
    m_usMilliseconds = 0;
}

unsigned short CTime::getDayCountOfThisYear() const
{
    return isLeap(m_usYear) ? 366 : 365;
}

unsigned char CTime::getDayCountOfThisMonth() const
{
    return static_cast<unsigned char>(daysInMonth(m_usYear, m_usMonth));
}

unsigned int CTime::getTotalDays() const
{
    const unsigned int y = m_usYear - 1u;
    unsigned int uiDays = y * 365 + y / 4 - y / 100 + y / 400;
    if (m_usMonth >= 1 && m_usMonth <= 12) {
        uiDays += DAYS_BEFORE_MONTH[m_usMonth];
        if (m_usMonth > 2 && isLeap(m_usYear))
            ++uiDays;
    }
    return uiDays + m_usDay - 1u;
}

unsigned int CTime::getDayOfWeek() const
{
    return (getTotalDays() + 1) % 7;
}

long long CTime::getTotalSeconds() const
{
    return ((static_cast<long long>(getTotalDays()) * 24 + m_usHour) * 60 + m_usMinute) * 60 + m_usSecond;
}

void CTime::setFromTotalSeconds(long long llTotalSeconds)
{
    if (llTotalSeconds < 0)
        llTotalSeconds = 0;
    if (llTotalSeconds >= DAYS_IN_RANGE * SECONDS_PER_DAY)
        llTotalSeconds = DAYS_IN_RANGE * SECONDS_PER_DAY - 1;

    long long llDays = llTotalSeconds / SECONDS_PER_DAY;
    m_usHour = static_cast<unsigned short>((llTotalSeconds % SECONDS_PER_DAY) / 3600);
    m_usMinute = static_cast<unsigned short>((llTotalSeconds % 3600) / 60);
    m_usSecond = static_cast<unsigned short>(llTotalSeconds % 60);
    m_usMilliseconds = 0;

    // The year by whole 400-, 100-, 4- and 1-year cycles: the same result as
    // counting years one by one, in constant time. The last day of a 100- or
    // 4-cycle's leap year needs the clamps to 3.
    const long long n400 = llDays / 146097;
    llDays %= 146097;
    long long n100 = llDays / 36524;
    if (n100 > 3)
        n100 = 3;
    llDays -= n100 * 36524;
    const long long n4 = llDays / 1461;
    llDays %= 1461;
    long long n1 = llDays / 365;
    if (n1 > 3)
        n1 = 3;
    llDays -= n1 * 365;
    const unsigned int uiYear = static_cast<unsigned int>(n400 * 400 + n100 * 100 + n4 * 4 + n1 + 1);

    unsigned int uiRemaining = static_cast<unsigned int>(llDays);
    unsigned int uiMonth = 1;
    while (uiMonth < 12 && daysInMonth(uiYear, uiMonth) <= uiRemaining) {
        uiRemaining -= daysInMonth(uiYear, uiMonth);
        ++uiMonth;
    }
    m_usYear = static_cast<unsigned short>(uiYear);
    m_usMonth = static_cast<unsigned short>(uiMonth);
    m_usDay = static_cast<unsigned short>(uiRemaining + 1);
}

void CTime::rectifyDay()
{
    if (m_usDay == 0)
        m_usDay = 1;
    const unsigned int uiDays = daysInMonth(m_usYear, m_usMonth);
    if (uiDays > 0 && m_usDay > uiDays)
        m_usDay = static_cast<unsigned short>(uiDays);
}

void CTime::offsetYear(int iYears)
{
    // Deliberately no clamp: the year wraps in 16 bits.
    m_usYear = static_cast<unsigned short>(m_usYear + iYears);
    rectifyDay();
}

void CTime::offsetMonth(int iMonths)
{
    const int t = static_cast<int>(m_usMonth) + iMonths + 12 * static_cast<int>(m_usYear);
    const int iYear = (t - 1) / 12;
    m_usYear = static_cast<unsigned short>(iYear);
    m_usMonth = static_cast<unsigned short>(t - 12 * iYear);
    rectifyDay();
}

void CTime::offsetDay(int iDays)
{
    // Deliberately 32-bit: the day offset in seconds wraps beyond about
    // 24855 days, as it always has.
    const int iOffset = static_cast<int>(static_cast<unsigned int>(iDays) * 86400u);
    setFromTotalSeconds(getTotalSeconds() + iOffset);
}

unsigned int CTime::getStrideYears(const CTime& other) const
{
    const int iDiff = static_cast<int>(m_usYear) - static_cast<int>(other.m_usYear);
    return static_cast<unsigned int>(iDiff < 0 ? -iDiff : iDiff) + 1;
}

unsigned int CTime::getStrideMonths(const CTime& other) const
{
    const int iDiff = 12 * (static_cast<int>(m_usYear) - static_cast<int>(other.m_usYear)) +
                      (static_cast<int>(m_usMonth) - static_cast<int>(other.m_usMonth));
    return static_cast<unsigned int>(iDiff < 0 ? -iDiff : iDiff) + 1;
}

unsigned int CTime::getStrideDays(const CTime& other) const
{
    const long long llDiff = static_cast<long long>(getTotalDays()) - static_cast<long long>(other.getTotalDays());
    return static_cast<unsigned int>(llDiff < 0 ? -llDiff : llDiff) + 1;
}

int CTime::compareDate(const CTime& other) const
{
    if (int iResult = compareValues(m_usYear, other.m_usYear))
        return iResult;
    if (int iResult = compareValues(m_usMonth, other.m_usMonth))
        return iResult;
    return compareValues(m_usDay, other.m_usDay);
}

int CTime::compareFullTime(const CTime& other) const
{
    if (int iResult = compareDate(other))
        return iResult;
    if (int iResult = compareValues(m_usHour, other.m_usHour))
        return iResult;
    if (int iResult = compareValues(m_usMinute, other.m_usMinute))
        return iResult;
    if (int iResult = compareValues(m_usSecond, other.m_usSecond))
        return iResult;
    return compareValues(m_usMilliseconds, other.m_usMilliseconds);
}

CTimeSpan CTime::operator-(const CTime& other) const
{
    return CTimeSpan(getTotalSeconds() - other.getTotalSeconds());
}

} // namespace Trell

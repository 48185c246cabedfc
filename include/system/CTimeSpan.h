#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

// A signed number of seconds, the difference of two CTime values. Division
// and remainder truncate toward zero, so the parts of a negative span are
// negative numbers narrowed to the result widths.
class ECS_API CTimeSpan : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CTimeSpan")

public:
    CTimeSpan() : m_llTotalSeconds(0) {}
    explicit CTimeSpan(long long llTotalSeconds) : m_llTotalSeconds(llTotalSeconds) {}
    CTimeSpan(const CTimeSpan& other) : CObject(), m_llTotalSeconds(other.m_llTotalSeconds) {}
    CTimeSpan& operator=(const CTimeSpan& other)
    {
        m_llTotalSeconds = other.m_llTotalSeconds;
        return *this;
    }

    long long getTotalSeconds() const { return m_llTotalSeconds; }
    long long getTotalMinutes() const { return m_llTotalSeconds / 60; }
    long long getTotalHours() const { return m_llTotalSeconds / 3600; }
    // Deliberately keeps only the low 32 bits of the day count, zero-extended.
    long long getTotalDays() const
    {
        return static_cast<long long>(static_cast<unsigned int>(m_llTotalSeconds / 86400));
    }
    unsigned int getDays() const { return static_cast<unsigned int>(m_llTotalSeconds / 86400); }
    unsigned short getHours() const { return static_cast<unsigned short>((m_llTotalSeconds % 86400) / 3600); }
    unsigned short getMinutes() const { return static_cast<unsigned short>((m_llTotalSeconds % 3600) / 60); }
    unsigned short getSeconds() const { return static_cast<unsigned short>(m_llTotalSeconds % 60); }

    bool operator==(const CTimeSpan& other) const { return m_llTotalSeconds == other.m_llTotalSeconds; }
    bool operator!=(const CTimeSpan& other) const { return m_llTotalSeconds != other.m_llTotalSeconds; }
    bool operator<(const CTimeSpan& other) const { return m_llTotalSeconds < other.m_llTotalSeconds; }
    bool operator>(const CTimeSpan& other) const { return m_llTotalSeconds > other.m_llTotalSeconds; }
    bool operator<=(const CTimeSpan& other) const { return m_llTotalSeconds <= other.m_llTotalSeconds; }
    bool operator>=(const CTimeSpan& other) const { return m_llTotalSeconds >= other.m_llTotalSeconds; }

private:
    long long m_llTotalSeconds;
};

} // namespace Trell

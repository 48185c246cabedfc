#include <text/CString.h>

#include <foundation/CDataArray.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>

#include <cstring>

// The null string must exist before any dynamic initialiser of any module
// runs; require constant initialisation so that a change to the default
// constructor cannot silently turn it into a dynamic one.
#if defined(__cpp_constinit)
#define ECS_CONSTINIT constinit
#elif defined(__clang__)
#define ECS_CONSTINIT [[clang::require_constant_initialization]]
#elif defined(__GNUC__)
#define ECS_CONSTINIT __constinit
#else
#define ECS_CONSTINIT
#endif

namespace Trell {

ECS_CONSTINIT const CString STRING_NULL;

namespace {

// Large enough for any integer and for a float with four decimals (the
// converter limits a float to 32 units including the terminator).
constexpr unsigned int NUMBER_UNITS = 48;

inline void copyUnits(char16_t* dst, const char16_t* src, unsigned int count)
{
    if (count)
        std::memcpy(dst, src, std::size_t(count) * sizeof(char16_t));
}

// Copies count units of src but stops at its terminator, zero-filling the
// rest, so that a count running past a short text leaves defined contents.
inline void copyCounted(char16_t* dst, const char16_t* src, unsigned int count)
{
    unsigned int i = 0;
    if (src) {
        for (; i < count && src[i]; ++i)
            dst[i] = src[i];
    }
    if (i < count)
        std::memset(dst + i, 0, std::size_t(count - i) * sizeof(char16_t));
}

inline unsigned int textLength(const char16_t* text)
{
    return unsigned(CStringCore::strlen(text));
}

// First occurrence of part (partLength > 0) in text[start, end), as
// CStringCore::strstr would find it on that range; -1 when there is none.
int findCounted(const char16_t* text, unsigned int start, unsigned int end, const char16_t* part,
                unsigned int partLength)
{
    while (start < end && end - start >= partLength) {
        const int found = CStringCore::findChar(text + start, end - start - partLength + 1, part[0]);
        if (found < 0)
            return -1;
        start += unsigned(found);
        if (CStringCore::strncmp(text + start + 1, part + 1, partLength - 1))
            return int(start);
        ++start;
    }
    return -1;
}

} // namespace

char16_t* CString::allocUnits(unsigned int units)
{
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((units + 1) * unsigned(sizeof(char16_t)), 0));
    if (buffer)
        buffer[units] = 0;
    return buffer;
}

// Replaces the buffer; the new one is always built before the old one is
// freed, so sources that point into the old buffer stay valid while copying.
void CString::adopt(char16_t* buffer, unsigned int length)
{
    if (m_buffer)
        CMemory::free(m_buffer);
    m_buffer = buffer;
    m_length = buffer ? length : 0;
}

void CString::free()
{
    if (m_buffer)
        CMemory::free(m_buffer);
    m_buffer = nullptr;
    m_length = 0;
}

// ---------------------------------------------------------------------------
// Construction and assignment

CString::CString(const char16_t* text) : CObject(), m_buffer(nullptr), m_length(0)
{
    if (text) {
        const unsigned int length = textLength(text);
        char16_t* buffer = allocUnits(length);
        if (buffer)
            copyUnits(buffer, text, length);
        adopt(buffer, length);
    }
}

CString::CString(const char16_t* text, unsigned int count) : CObject(), m_buffer(nullptr), m_length(0)
{
    unsigned int length = 0;
    if (text && count) {
        // Bounded scan: count may be far shorter than the text.
        while (length < count && text[length])
            ++length;
    }
    char16_t* buffer = allocUnits(length);
    if (buffer)
        copyUnits(buffer, text, length);
    adopt(buffer, length);
}

CString::CString(const CString& other) : CObject(other), m_buffer(nullptr), m_length(0)
{
    if (other.m_buffer) {
        char16_t* buffer = allocUnits(other.m_length);
        if (buffer)
            copyUnits(buffer, other.m_buffer, other.m_length);
        adopt(buffer, other.m_length);
    }
}

// Like the copy, the CObject part (reference count included) comes along.
CString::CString(CString&& other) noexcept : CObject(other), m_buffer(other.m_buffer), m_length(other.m_length)
{
    other.m_buffer = nullptr;
    other.m_length = 0;
}

#define ECS_CSTRING_FROM_NUMBER(...)                                                                                   \
    char16_t digits[NUMBER_UNITS] = {};                                                                                \
    CStringConverter::toString(__VA_ARGS__);                                                                           \
    const unsigned int length = textLength(digits);                                                                    \
    char16_t* buffer = allocUnits(length);                                                                             \
    if (buffer)                                                                                                        \
        copyUnits(buffer, digits, length);                                                                             \
    adopt(buffer, length)

CString::CString(int value) : CObject(), m_buffer(nullptr), m_length(0)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
}

CString::CString(unsigned int value) : CObject(), m_buffer(nullptr), m_length(0)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
}

CString::CString(long long value) : CObject(), m_buffer(nullptr), m_length(0)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
}

CString::CString(bool value) : CObject(), m_buffer(nullptr), m_length(0)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
}

CString::CString(float value) : CObject(), m_buffer(nullptr), m_length(0)
{
    ECS_CSTRING_FROM_NUMBER(value, digits, 4);
}

CString::~CString()
{
    free();
}

CString& CString::operator=(const char16_t* text)
{
    if (text == m_buffer)
        return *this;
    if (!text) {
        free();
        return *this;
    }
    const unsigned int length = textLength(text);
    char16_t* buffer = allocUnits(length);
    if (buffer)
        copyUnits(buffer, text, length);
    adopt(buffer, length);
    return *this;
}

// Only the text is assigned: the reference count belongs to this object's
// owners, not to the value it holds.
CString& CString::operator=(const CString& other)
{
    if (other.m_buffer == m_buffer)
        return *this;
    if (!other.m_buffer) {
        free();
        return *this;
    }
    char16_t* buffer = allocUnits(other.m_length);
    if (buffer)
        copyUnits(buffer, other.m_buffer, other.m_length);
    adopt(buffer, other.m_length);
    return *this;
}

CString& CString::operator=(CString&& other) noexcept
{
    if (&other != this) {
        free();
        m_buffer = other.m_buffer;
        m_length = other.m_length;
        other.m_buffer = nullptr;
        other.m_length = 0;
    }
    return *this;
}

CString& CString::operator=(int value)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
    return *this;
}

CString& CString::operator=(unsigned int value)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
    return *this;
}

CString& CString::operator=(long long value)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
    return *this;
}

CString& CString::operator=(float value)
{
    ECS_CSTRING_FROM_NUMBER(value, digits, 4);
    return *this;
}

CString& CString::operator=(bool value)
{
    ECS_CSTRING_FROM_NUMBER(value, digits);
    return *this;
}

#undef ECS_CSTRING_FROM_NUMBER

// ---------------------------------------------------------------------------
// Raw buffer access

void CString::fromBuffer(const char16_t* text, unsigned int count)
{
    char16_t* buffer = allocUnits(count);
    if (buffer)
        copyCounted(buffer, text, count);
    adopt(buffer, count);
}

unsigned int CString::toBuffer(char16_t* out, unsigned int size) const
{
    if (m_length == 0 || size == 0 || !out)
        return 0;
    const unsigned int count = (size - 1 < m_length) ? size - 1 : m_length;
    copyUnits(out, m_buffer, count);
    out[count] = 0;
    return count;
}

void CString::attach(char16_t* text, int length)
{
    if (text != m_buffer && m_buffer)
        CMemory::free(m_buffer);
    m_buffer = text;
    m_length = !text ? 0u : (length < 0 ? textLength(text) : unsigned(length));
}

// ---------------------------------------------------------------------------
// Queries

char16_t CString::charAt(unsigned int index) const
{
    return index < m_length ? m_buffer[index] : char16_t(0);
}

unsigned int CString::charCount(char16_t ch) const
{
    return CStringCore::charCount(m_buffer, m_length, ch);
}

int CString::indexOf(char16_t ch) const
{
    return CStringCore::findChar(m_buffer, m_length, ch);
}

int CString::indexOf(const char16_t* text, unsigned int start) const
{
    if (!m_buffer || start > m_length)
        return -1;
    const int found = CStringCore::strstr(m_buffer + start, text);
    return found < 0 ? -1 : found + int(start);
}

int CString::indexOf(const CString& text, unsigned int start) const
{
    return indexOf(text.m_buffer, start);
}

int CString::lastIndexOf(char16_t ch) const
{
    return CStringCore::findLastChar(m_buffer, m_length, ch);
}

int CString::lastIndexOf(const char16_t* text) const
{
    return CStringCore::strstr_last(m_buffer, text);
}

int CString::lastIndexOf(const CString& text) const
{
    return CStringCore::strstr_last(m_buffer, text.m_buffer);
}

bool CString::startWith(const char16_t* prefix) const
{
    return CStringCore::strstart(m_buffer, prefix);
}

bool CString::startWith(const CString& prefix) const
{
    return CStringCore::strstart(m_buffer, prefix.m_buffer);
}

bool CString::startWithIC(const char16_t* prefix) const
{
    return CStringCore::strstartIC(m_buffer, prefix);
}

bool CString::startWithIC(const CString& prefix) const
{
    return CStringCore::strstartIC(m_buffer, prefix.m_buffer);
}

int CString::compare(const char16_t* text) const
{
    return CStringCore::strcmp(m_buffer, text);
}

int CString::compare(const CString& text) const
{
    return CStringCore::strcmp(m_buffer, text.m_buffer);
}

int CString::compareIC(const char16_t* text) const
{
    return CStringCore::strcmpIC(m_buffer, text);
}

int CString::compareIC(const CString& text) const
{
    return CStringCore::strcmpIC(m_buffer, text.m_buffer);
}

int CString::compareReverse(const CString& text) const
{
    return CStringCore::strrcmp(m_buffer, m_length, text.m_buffer, text.m_length);
}

int CString::compareReverseIC(const CString& text) const
{
    return CStringCore::strrcmpIC(m_buffer, m_length, text.m_buffer, text.m_length);
}

bool CString::operator==(const char16_t* text) const
{
    return CStringCore::strcmp(m_buffer, text) == 0;
}

bool CString::operator==(const CString& text) const
{
    return CStringCore::strcmp(m_buffer, text.m_buffer) == 0;
}

bool CString::operator!=(const char16_t* text) const
{
    return CStringCore::strcmp(m_buffer, text) != 0;
}

bool CString::operator!=(const CString& text) const
{
    return CStringCore::strcmp(m_buffer, text.m_buffer) != 0;
}

bool CString::isNumberStart() const
{
    return CStringCore::isNumberStart(m_buffer, m_length);
}

int CString::toInt() const
{
    return CStringConverter::toInt(m_buffer);
}

unsigned int CString::toUInt() const
{
    return CStringConverter::toUInt(m_buffer);
}

long long CString::toLLong() const
{
    return CStringConverter::toLLong(m_buffer);
}

float CString::toFloat() const
{
    return CStringConverter::toFloat(m_buffer);
}

bool CString::toBool() const
{
    return CStringConverter::toBool(m_buffer);
}

// ---------------------------------------------------------------------------
// Editing

CString& CString::append(const char16_t* text)
{
    const unsigned int count = textLength(text);
    if (count == 0)
        return *this;
    char16_t* buffer = allocUnits(m_length + count);
    if (buffer) {
        copyUnits(buffer, m_buffer, m_length);
        copyUnits(buffer + m_length, text, count);
    }
    adopt(buffer, m_length + count);
    return *this;
}

CString& CString::append(const char16_t* text, unsigned int count)
{
    if (count == 0)
        return *this;
    char16_t* buffer = allocUnits(m_length + count);
    if (buffer) {
        copyUnits(buffer, m_buffer, m_length);
        copyCounted(buffer + m_length, text, count);
    }
    adopt(buffer, m_length + count);
    return *this;
}

CString& CString::append(const CString& text)
{
    if (text.m_length == 0)
        return *this;
    // Copies text.m_length units even when text is this string.
    const unsigned int count = text.m_length;
    char16_t* buffer = allocUnits(m_length + count);
    if (buffer) {
        copyUnits(buffer, m_buffer, m_length);
        copyUnits(buffer + m_length, text.m_buffer, count);
    }
    adopt(buffer, m_length + count);
    return *this;
}

CString CString::subString(unsigned int start, unsigned int count) const
{
    if (!m_buffer || m_length == 0 || start >= m_length)
        return STRING_NULL;
    const unsigned int available = m_length - start;
    if (count == 0 || count > available)
        count = available;
    CString result;
    char16_t* buffer = allocUnits(count);
    if (buffer)
        copyUnits(buffer, m_buffer + start, count);
    result.adopt(buffer, count);
    return result;
}

void CString::deleteString(unsigned int start, unsigned int count)
{
    if (start >= m_length || count == 0)
        return;
    const unsigned int available = m_length - start;
    if (count > available)
        count = available;
    // Moves the tail with its terminator; the buffer keeps its size.
    std::memmove(m_buffer + start, m_buffer + start + count, std::size_t(available - count + 1) * sizeof(char16_t));
    m_length -= count;
}

void CString::insertString(unsigned int pos, const char16_t* text, unsigned int count)
{
    if (pos >= m_length) {
        append(text);
        return;
    }
    if (!text)
        return;
    char16_t* buffer = allocUnits(m_length + count);
    if (buffer) {
        copyUnits(buffer, m_buffer, pos);
        copyCounted(buffer + pos, text, count);
        copyUnits(buffer + pos + count, m_buffer + pos, m_length - pos);
    }
    adopt(buffer, m_length + count);
}

void CString::insertString(unsigned int pos, const char16_t* text)
{
    const unsigned int count = textLength(text);
    if (count == 0)
        return;
    insertString(pos, text, count);
}

void CString::insertString(unsigned int pos, const CString& text)
{
    if (text.m_length == 0)
        return;
    insertString(pos, text.m_buffer, text.m_length);
}

void CString::replace(char16_t from, char16_t to)
{
    CStringCore::replace(m_buffer, m_length, from, to);
}

void CString::replaceAt(unsigned int index, char16_t ch)
{
    // Deliberately <=: writing at the length replaces the terminator.
    if (m_buffer && index <= m_length)
        m_buffer[index] = ch;
}

void CString::replaceFirst(const char16_t* from, const char16_t* to)
{
    const int pos = CStringCore::strstr(m_buffer, from);
    if (pos < 0)
        return;
    const unsigned int fromLength = textLength(from);
    const unsigned int toLength = textLength(to);
    const unsigned int length = m_length - fromLength + toLength;
    char16_t* buffer = allocUnits(length);
    if (!buffer) {
        adopt(nullptr, 0);
        return;
    }
    copyUnits(buffer, m_buffer, unsigned(pos));
    copyUnits(buffer + pos, to, toLength);
    copyUnits(buffer + pos + toLength, m_buffer + pos + fromLength, m_length - unsigned(pos) - fromLength);
    adopt(buffer, length);
    // Re-measured: a zero inside the old text ends the new one there.
    m_length = textLength(m_buffer);
}

void CString::replaceAll(const char16_t* from, const char16_t* to)
{
    int pos = CStringCore::strstr(m_buffer, from);
    if (pos < 0)
        return;
    const unsigned int fromLength = textLength(from);
    const unsigned int toLength = textLength(to);

    // Non-overlapping matches: each search resumes after the previous match.
    // The searches run over the measured text so that the remainder is not
    // re-measured for every match.
    const unsigned int searchEnd = textLength(m_buffer);
    CDataArray<unsigned int> positions;
    while (pos >= 0) {
        // A match left out would be left unreplaced: fail as a whole instead.
        if (!positions.add(unsigned(pos))) {
            adopt(nullptr, 0);
            return;
        }
        pos = findCounted(m_buffer, unsigned(pos) + fromLength, searchEnd, from, fromLength);
    }

    const unsigned int count = positions.getCount();
    const unsigned int length = m_length + count * toLength - count * fromLength;
    char16_t* buffer = allocUnits(length);
    if (!buffer) {
        adopt(nullptr, 0);
        return;
    }
    char16_t* out = buffer;
    copyUnits(out, m_buffer, positions[0]);
    out += positions[0];
    for (unsigned int i = 0; i < count; ++i) {
        copyUnits(out, to, toLength);
        out += toLength;
        const unsigned int tailStart = positions[i] + fromLength;
        const unsigned int tailEnd = (i + 1 < count) ? positions[i + 1] : m_length;
        copyUnits(out, m_buffer + tailStart, tailEnd - tailStart);
        out += tailEnd - tailStart;
    }
    adopt(buffer, length);
}

void CString::toUppercase()
{
    CStringCore::toUppercase(m_buffer, m_length);
}

void CString::toLowercase()
{
    CStringCore::toLowercase(m_buffer, m_length);
}

void CString::innerTrim(char16_t ch, bool atStart, bool atEnd)
{
    unsigned int start = 0;
    unsigned int end = m_length;
    if (atStart) {
        while (start < end && m_buffer[start] == ch)
            ++start;
    }
    if (atEnd) {
        while (end > start && m_buffer[end - 1] == ch)
            --end;
    }
    // Always rebuilt, even when nothing was removed (a null string becomes
    // an empty one); callers have come to rely on getting a buffer back.
    const unsigned int length = end - start;
    char16_t* buffer = allocUnits(length);
    if (buffer)
        copyUnits(buffer, m_buffer ? m_buffer + start : nullptr, length);
    adopt(buffer, length);
}

CString& CString::trim(char16_t ch)
{
    innerTrim(ch, true, true);
    return *this;
}

CString& CString::trimStart(char16_t ch)
{
    innerTrim(ch, true, false);
    return *this;
}

CString& CString::trimEnd(char16_t ch)
{
    innerTrim(ch, false, true);
    return *this;
}

CString& CString::trimBlank(bool atStart, bool atEnd)
{
    unsigned int start = 0;
    unsigned int end = m_length;
    if (atStart) {
        while (start < end && CStringCore::isBlank(m_buffer[start]))
            ++start;
    }
    if (atEnd) {
        while (end > start && CStringCore::isBlank(m_buffer[end - 1]))
            --end;
    }
    if (start == 0 && end == m_length)
        return *this;
    const unsigned int length = end - start;
    char16_t* buffer = allocUnits(length);
    if (buffer)
        copyUnits(buffer, m_buffer + start, length);
    adopt(buffer, length);
    return *this;
}

CString CString::getStartBlank() const
{
    const unsigned int count = getStarkBlankCount();
    if (count == 0)
        return STRING_NULL;
    return CString(m_buffer, count);
}

unsigned int CString::getStarkBlankCount() const
{
    unsigned int count = 0;
    while (count < m_length && CStringCore::isBlank(m_buffer[count]))
        ++count;
    return count;
}

CString CString::operator+(const char16_t* text) const
{
    const unsigned int count = textLength(text);
    if (m_length == 0 && count == 0)
        return STRING_NULL;
    CString result;
    char16_t* buffer = allocUnits(m_length + count);
    if (buffer) {
        copyUnits(buffer, m_buffer, m_length);
        copyUnits(buffer + m_length, text, count);
    }
    result.adopt(buffer, m_length + count);
    return result;
}

CString CString::operator+(const CString& text) const
{
    if (m_length == 0 && text.m_length == 0)
        return STRING_NULL;
    CString result;
    char16_t* buffer = allocUnits(m_length + text.m_length);
    if (buffer) {
        copyUnits(buffer, m_buffer, m_length);
        copyUnits(buffer + m_length, text.m_buffer, text.m_length);
    }
    result.adopt(buffer, m_length + text.m_length);
    return result;
}

void CString::empty()
{
    free();
}

} // namespace Trell

#pragma once

// Inline scanning helpers shared by the XML reader and writer; private to the
// library. Texts end at their first zero unit, which no class below matches,
// so scans stop there without a separate end check.

#include <foundation/CMemory.h>
#include <text/CString.h>

#include <cstring>

namespace Trell {
namespace XMLScan {

enum : unsigned char
{
    CLASS_BLANK = 1,
    CLASS_NAME_START = 2,
    CLASS_NAME = 4,
};

struct tagCharTable
{
    unsigned char aClass[128];
    constexpr tagCharTable() : aClass()
    {
        aClass[0x20] = aClass[0x09] = aClass[0x0D] = aClass[0x0A] = CLASS_BLANK;
        for (int c = 'a'; c <= 'z'; ++c)
            aClass[c] = CLASS_NAME_START | CLASS_NAME;
        for (int c = 'A'; c <= 'Z'; ++c)
            aClass[c] = CLASS_NAME_START | CLASS_NAME;
        aClass['_'] = CLASS_NAME_START | CLASS_NAME;
        for (int c = '0'; c <= '9'; ++c)
            aClass[c] = CLASS_NAME;
        aClass['-'] = aClass['.'] = aClass[':'] = CLASS_NAME;
    }
};

inline constexpr tagCharTable s_table{};

inline bool isBlank(char16_t c) { return c < 128 && (s_table.aClass[c] & CLASS_BLANK); }
inline bool isNameStart(char16_t c) { return c < 128 && (s_table.aClass[c] & CLASS_NAME_START); }
inline bool isName(char16_t c) { return c < 128 && (s_table.aClass[c] & CLASS_NAME); }

inline const char16_t* skipBlank(const char16_t* p)
{
    while (isBlank(*p))
        ++p;
    return p;
}

// The special characters and their entities, in the order both directions try them.
constexpr unsigned int ENTITY_COUNT = 7;
inline constexpr char16_t s_aSpecial[ENTITY_COUNT] = {u'&', u'<', u'>', u'"', u'\'', u'\r', u'\n'};
inline constexpr const char16_t* s_aEntity[ENTITY_COUNT] = {u"&amp;", u"&lt;", u"&gt;", u"&quot;",
                                                           u"&apos;", u"&cr;", u"&lf;"};
inline constexpr unsigned int s_aEntityLength[ENTITY_COUNT] = {5, 4, 4, 6, 6, 4, 4};

// Extra units a special character costs when encoded, 0 for any other.
inline unsigned int encodeExtra(char16_t c)
{
    switch (c) {
    case u'&': return 4;
    case u'<':
    case u'>': return 3;
    case u'"':
    case u'\'': return 5;
    case u'\r':
    case u'\n': return 3;
    default: return 0;
    }
}

// Index of the entity that starts at `p` within `remaining` units, or -1.
inline int matchEntity(const char16_t* p, unsigned int remaining)
{
    for (unsigned int k = 0; k < ENTITY_COUNT; ++k) {
        unsigned int n = s_aEntityLength[k];
        if (n <= remaining && std::memcmp(p, s_aEntity[k], n * sizeof(char16_t)) == 0)
            return int(k);
    }
    return -1;
}

// Names and values are mostly short: a plain loop beats a call to memcpy there.
inline void copyUnits(char16_t* out, const char16_t* text, unsigned int length)
{
    if (length <= 16) {
        for (unsigned int i = 0; i < length; ++i)
            out[i] = text[i];
    } else {
        std::memcpy(out, text, length * sizeof(char16_t));
    }
}

// Builds `out` from `length` units with one allocation of the exact size.
inline bool makeString(const char16_t* text, unsigned int length, CString& out)
{
    if (length >= 0x3FFFFFFFu)
        return false;
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((length + 1) * sizeof(char16_t), 0));
    if (!buffer)
        return false;
    copyUnits(buffer, text, length);
    buffer[length] = 0;
    out.attach(buffer, int(length));
    return true;
}

// As makeString with the entities decoded; `hasAmpersand` says whether the
// slow path is needed at all.
inline bool makeDecoded(const char16_t* text, unsigned int length, bool hasAmpersand, CString& out)
{
    if (!hasAmpersand || length >= 0x3FFFFFFFu)
        return makeString(text, length, out);
    unsigned int decoded = 0;
    for (unsigned int i = 0; i < length;) {
        int k = text[i] == u'&' ? matchEntity(text + i, length - i) : -1;
        i += k >= 0 ? s_aEntityLength[k] : 1;
        ++decoded;
    }
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((decoded + 1) * sizeof(char16_t), 0));
    if (!buffer)
        return false;
    char16_t* w = buffer;
    for (unsigned int i = 0; i < length;) {
        int k = text[i] == u'&' ? matchEntity(text + i, length - i) : -1;
        if (k >= 0) {
            *w++ = s_aSpecial[k];
            i += s_aEntityLength[k];
        } else {
            *w++ = text[i++];
        }
    }
    *w = 0;
    out.attach(buffer, int(decoded));
    return true;
}

inline unsigned long long encodedLength(const char16_t* text, unsigned int length)
{
    unsigned long long total = length;
    for (unsigned int i = 0; i < length; ++i)
        total += encodeExtra(text[i]);
    return total;
}

inline char16_t* writeEncoded(char16_t* out, const char16_t* text, unsigned int length)
{
    for (unsigned int i = 0; i < length; ++i) {
        char16_t c = text[i];
        if (encodeExtra(c) == 0) {
            *out++ = c;
            continue;
        }
        for (unsigned int k = 0; k < ENTITY_COUNT; ++k) {
            if (s_aSpecial[k] == c) {
                std::memcpy(out, s_aEntity[k], s_aEntityLength[k] * sizeof(char16_t));
                out += s_aEntityLength[k];
                break;
            }
        }
    }
    return out;
}

// A CString view of a zero-terminated text that the caller keeps alive, for
// map lookups without copying; the buffer is handed back, never freed.
class CBorrowedString
{
    TRELL_DECLARE_ALLOCATOR(u"XMLScan::CBorrowedString")

public:
    explicit CBorrowedString(const char16_t* text, int length = -1)
    {
        m_str.attach(const_cast<char16_t*>(text ? text : u""), length);
    }
    ~CBorrowedString() { m_str.detach(); }
    CBorrowedString(const CBorrowedString&) = delete;
    CBorrowedString& operator=(const CBorrowedString&) = delete;
    const CString& get() const { return m_str; }

private:
    CString m_str;
};

} // namespace XMLScan
} // namespace Trell

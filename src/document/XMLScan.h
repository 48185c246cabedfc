#pragma once

// Inline scanning helpers shared by the XML reader and writer; private to the
// library. Texts end at their first zero unit, which no class below matches,
// so scans stop there without a separate end check.

#include <foundation/CMemory.h>
#include <text/BlockScan.h>
#include <text/CString.h>
#include <text/CStringCore.h>

#include <cstdint>
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
        aClass[u'_'] = CLASS_NAME_START | CLASS_NAME;
        for (int c = '0'; c <= '9'; ++c)
            aClass[c] = CLASS_NAME;
        aClass[u'-'] = aClass[u'.'] = aClass[u':'] = CLASS_NAME;
    }
};

inline constexpr tagCharTable s_table{};

inline bool isBlank(char16_t c)
{
    return c < 128 && (s_table.aClass[c] & CLASS_BLANK);
}
inline bool isNameStart(char16_t c)
{
    return c < 128 && (s_table.aClass[c] & CLASS_NAME_START);
}
inline bool isName(char16_t c)
{
    return c < 128 && (s_table.aClass[c] & CLASS_NAME);
}

#if ECS_SSE2
using BlockScan::blockStaysInPage;
using BlockScan::firstUnit;
using BlockScan::loadBlock;
using BlockScan::maskOf;

// Lanes where lo <= unit < lo + count, as unsigned 16-bit comparisons.
inline __m128i inRange(__m128i units, short lo, short count)
{
    const __m128i bias = _mm_set1_epi16(short(-32768));
    return _mm_cmplt_epi16(_mm_xor_si128(_mm_sub_epi16(units, _mm_set1_epi16(lo)), bias),
                           _mm_set1_epi16(short(count - 32768)));
}

inline __m128i isBlankBlock(__m128i v)
{
    return _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(0x20)), _mm_cmpeq_epi16(v, _mm_set1_epi16(0x09))),
        _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(0x0D)), _mm_cmpeq_epi16(v, _mm_set1_epi16(0x0A))));
}

// Letters, digits and ':' (which follows '9'), '-' and '.', and '_'.
inline __m128i isNameBlock(__m128i v)
{
    const __m128i letters = inRange(_mm_or_si128(v, _mm_set1_epi16(0x20)), 'a', 26);
    const __m128i digitsColon = inRange(v, '0', 11);
    const __m128i dashDot = inRange(v, '-', 2);
    const __m128i underscore = _mm_cmpeq_epi16(v, _mm_set1_epi16('_'));
    return _mm_or_si128(_mm_or_si128(letters, digitsColon), _mm_or_si128(dashDot, underscore));
}
#endif

// Blank runs are mostly one unit (between attributes) or a line break and a
// few tabs (between elements): the first two units are tested on their own.
ECS_NO_SANITIZE_OVERREAD inline const char16_t* skipBlank(const char16_t* p)
{
    if (!isBlank(*p))
        return p;
    ++p;
    if (!isBlank(*p))
        return p;
#if ECS_SSE2
    while (blockStaysInPage(p)) {
        const unsigned int mask = ~maskOf(isBlankBlock(loadBlock(p))) & 0xFFFFu;
        if (mask)
            return p + firstUnit(mask);
        p += 8;
    }
#endif
    while (isBlank(*p))
        ++p;
    return p;
}

// The end of the run of name units starting at `p`.
ECS_NO_SANITIZE_OVERREAD inline const char16_t* skipName(const char16_t* p)
{
#if ECS_SSE2
    while (blockStaysInPage(p)) {
        const unsigned int mask = ~maskOf(isNameBlock(loadBlock(p))) & 0xFFFFu;
        if (mask)
            return p + firstUnit(mask);
        p += 8;
    }
#endif
    while (isName(*p))
        ++p;
    return p;
}

// Scans from `p` to the first unit equal to `stop1`, `stop2` or zero, and
// tells whether an '&' came before it (entities to decode).
template <char16_t Stop1, char16_t Stop2>
ECS_NO_SANITIZE_OVERREAD inline const char16_t* scanTo(const char16_t* p, bool& hasAmpersand)
{
    bool amp = false;
#if ECS_SSE2
    const __m128i stop1 = _mm_set1_epi16(short(Stop1));
    const __m128i stop2 = _mm_set1_epi16(short(Stop2));
    const __m128i zero = _mm_setzero_si128();
    const __m128i ampersand = _mm_set1_epi16(short(u'&'));
    while (blockStaysInPage(p)) {
        const __m128i v = loadBlock(p);
        const unsigned int stop = maskOf(
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, stop1), _mm_cmpeq_epi16(v, stop2)), _mm_cmpeq_epi16(v, zero)));
        const unsigned int amps = maskOf(_mm_cmpeq_epi16(v, ampersand));
        if (stop) {
            // Only the '&'s below the first stop count.
            hasAmpersand = amp || (amps & (stop ^ (stop - 1))) != 0;
            return p + firstUnit(stop);
        }
        amp |= amps != 0;
        p += 8;
    }
#endif
    for (;; ++p) {
        const char16_t c = *p;
        if (c == Stop1 || c == Stop2 || c == 0)
            break;
        amp |= c == u'&';
    }
    hasAmpersand = amp;
    return p;
}

// The special characters and their entities, in the order both directions try them.
constexpr unsigned int ENTITY_COUNT = 7;
inline constexpr char16_t s_aSpecial[ENTITY_COUNT] = {u'&', u'<', u'>', u'"', u'\'', u'\r', u'\n'};
inline constexpr const char16_t* s_aEntity[ENTITY_COUNT] = {u"&amp;",  u"&lt;", u"&gt;", u"&quot;",
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

// Index of the entity that starts at `p` (an '&') within `remaining` units,
// or -1. Dispatches on the unit after the '&'; no two entities share a
// prefix that one of them ends in, so the first match is the only one.
inline int matchEntity(const char16_t* p, unsigned int remaining)
{
    if (remaining < 4)
        return -1;
    switch (p[1]) {
    case u'a':
        if (remaining >= 5 && p[2] == u'm' && p[3] == u'p' && p[4] == u';')
            return 0;
        if (remaining >= 6 && p[2] == u'p' && p[3] == u'o' && p[4] == u's' && p[5] == u';')
            return 4;
        return -1;
    case u'l':
        if (p[3] == u';' && (p[2] == u't' || p[2] == u'f'))
            return p[2] == u't' ? 1 : 6;
        return -1;
    case u'g': return p[2] == u't' && p[3] == u';' ? 2 : -1;
    case u'q': return remaining >= 6 && p[2] == u'u' && p[3] == u'o' && p[4] == u't' && p[5] == u';' ? 3 : -1;
    case u'c': return p[2] == u'r' && p[3] == u';' ? 5 : -1;
    default: return -1;
    }
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

// A buffer of exactly `length` units and the terminator, from CMemory; null
// when the length is out of bounds or memory runs out.
inline char16_t* copyToBuffer(const char16_t* text, unsigned int length)
{
    if (length >= 0x3FFFFFFFu)
        return nullptr;
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((length + 1) * sizeof(char16_t), 0));
    if (buffer) {
        copyUnits(buffer, text, length);
        buffer[length] = 0;
    }
    return buffer;
}

// The entities of `length` units of `text` decoded into a buffer of exactly
// the decoded size (a first pass over the '&'s measures it), so nothing is
// copied twice. `hasAmpersand` false skips decoding. Null when memory runs out.
inline char16_t* decodeToBuffer(const char16_t* text, unsigned int length, bool hasAmpersand,
                                unsigned int& decodedLength)
{
    if (!hasAmpersand || length >= 0x3FFFFFFFu) {
        decodedLength = length;
        return copyToBuffer(text, length);
    }
    unsigned int decoded = length;
    for (unsigned int i = 0; i < length; ++i) {
        if (text[i] != u'&')
            continue;
        int k = matchEntity(text + i, length - i);
        if (k >= 0) {
            decoded -= s_aEntityLength[k] - 1;
            i += s_aEntityLength[k] - 1;
        }
    }
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((decoded + 1) * sizeof(char16_t), 0));
    if (!buffer)
        return nullptr;
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
    decodedLength = decoded;
    return buffer;
}

// As makeString with the entities decoded.
inline bool makeDecoded(const char16_t* text, unsigned int length, bool hasAmpersand, CString& out)
{
    unsigned int decoded;
    char16_t* buffer = decodeToBuffer(text, length, hasAmpersand, decoded);
    if (!buffer)
        return false;
    out.attach(buffer, int(decoded));
    return true;
}

// Orders two names as CStringCore::strcmp orders the zero-terminated texts
// (units unsigned, a prefix first); names never hold a zero unit.
inline int compareNames(const char16_t* a, unsigned int lengthA, const char16_t* b, unsigned int lengthB)
{
    const unsigned int n = lengthA < lengthB ? lengthA : lengthB;
    for (unsigned int i = 0; i < n; ++i) {
        if (a[i] != b[i])
            return a[i] < b[i] ? -1 : 1;
    }
    return lengthA < lengthB ? -1 : (lengthA > lengthB ? 1 : 0);
}

#if ECS_SSE2
// Lanes holding one of the seven special characters.
inline __m128i isSpecialBlock(__m128i v)
{
    // '&' and the apostrophe are neighbours (0x26, 0x27).
    const __m128i ampApos = inRange(v, 0x26, 2);
    const __m128i quote = _mm_cmpeq_epi16(v, _mm_set1_epi16(0x22));
    const __m128i angles =
        _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(0x3C)), _mm_cmpeq_epi16(v, _mm_set1_epi16(0x3E)));
    const __m128i breaks =
        _mm_or_si128(_mm_cmpeq_epi16(v, _mm_set1_epi16(0x0A)), _mm_cmpeq_epi16(v, _mm_set1_epi16(0x0D)));
    return _mm_or_si128(_mm_or_si128(ampApos, quote), _mm_or_si128(angles, breaks));
}
#endif

// Index of the first special character in the `length` units of `text`, or
// `length` when there is none. Whole blocks inside the text go eight units
// at a time; the tail reads one block past the text when that stays within
// the page, and only the lanes inside the text count.
ECS_NO_SANITIZE_OVERREAD inline unsigned int findSpecial(const char16_t* text, unsigned int length)
{
    unsigned int i = 0;
#if ECS_SSE2
    for (; length - i >= 8; i += 8) {
        const unsigned int mask = maskOf(isSpecialBlock(loadBlock(text + i)));
        if (mask)
            return i + firstUnit(mask);
    }
    if (i < length && blockStaysInPage(text + i)) {
        const unsigned int mask = maskOf(isSpecialBlock(loadBlock(text + i))) & ((1u << ((length - i) * 2)) - 1u);
        return mask ? i + firstUnit(mask) : length;
    }
#endif
    for (; i < length; ++i) {
        if (encodeExtra(text[i]))
            return i;
    }
    return length;
}

inline unsigned long long encodedLength(const char16_t* text, unsigned int length)
{
    unsigned long long total = length;
    for (unsigned int i = findSpecial(text, length); i < length;) {
        total += encodeExtra(text[i]);
        ++i;
        i += findSpecial(text + i, length - i);
    }
    return total;
}

// Plain runs are copied whole; each special character becomes its entity.
inline char16_t* writeEncoded(char16_t* out, const char16_t* text, unsigned int length)
{
    unsigned int i = 0;
    for (;;) {
        const unsigned int run = findSpecial(text + i, length - i);
        copyUnits(out, text + i, run);
        out += run;
        i += run;
        if (i >= length)
            return out;
        const char16_t c = text[i++];
        for (unsigned int k = 0; k < ENTITY_COUNT; ++k) {
            if (s_aSpecial[k] == c) {
                std::memcpy(out, s_aEntity[k], s_aEntityLength[k] * sizeof(char16_t));
                out += s_aEntityLength[k];
                break;
            }
        }
    }
}

// A CString view of a zero-terminated text that the caller keeps alive, for
// map lookups without copying; the buffer is handed back, never freed.
class CBorrowedString
{
    TRELL_DECLARE_ALLOCATOR(u"XMLScan::CBorrowedString")

public:
    explicit CBorrowedString(const char16_t* text)
        : m_str(const_cast<char16_t*>(text ? text : u""), text ? unsigned(CStringCore::strlen(text)) : 0u,
                CString::tagAdopt())
    {}
    ~CBorrowedString() { m_str.detach(); }
    CBorrowedString(const CBorrowedString&) = delete;
    CBorrowedString& operator=(const CBorrowedString&) = delete;
    const CString& get() const { return m_str; }

private:
    CString m_str;
};

} // namespace XMLScan
} // namespace Trell

#include <text/CStringCore.h>

#include <text/BlockScan.h>

#include <cstdint>
#include <cstring>

namespace Trell {

namespace {

inline char16_t foldAscii(char16_t ch)
{
    return (ch >= u'A' && ch <= u'Z') ? char16_t(ch + 0x20) : ch;
}

inline int sign(int diff)
{
    return (diff > 0) - (diff < 0);
}

inline bool isWordChar(char16_t ch)
{
    return CStringCore::isLetter(ch) || CStringCore::isNumber(ch) || CStringCore::isUnderline(ch) ||
           CStringCore::isConnectLine(ch);
}

// The library's case tables. The gaps (0xF8/0xFE, 0x430..0x432 and their
// upper-case partners) are deliberate: stored data and sort orders rely on them.
inline char16_t upperUnit(char16_t c)
{
    if (c < 0x61 || c > 0x4DF)
        return c;
    if (c <= 0x7A)
        return char16_t(c - 0x20);
    if (c < 0xE0)
        return c;
    if (c <= 0xF7 || (c >= 0xF9 && c <= 0xFD))
        return char16_t(c - 0x20);
    if (c == 0xFF)
        return 0x178;
    if (c < 0x100)
        return c;
    if (c <= 0x137 || (c >= 0x14A && c <= 0x173) || (c >= 0x218 && c <= 0x21B) || (c >= 0x490 && c <= 0x4BF) ||
        c >= 0x4D0)
        return (c & 1) ? char16_t(c - 1) : c;
    if (c >= 0x179 && c <= 0x17E)
        return (c & 1) ? c : char16_t(c - 1);
    if (c >= 0x433 && c <= 0x44F)
        return char16_t(c - 0x20);
    if (c >= 0x450 && c <= 0x45F)
        return char16_t(c - 0x50);
    return c;
}

inline char16_t lowerUnit(char16_t c)
{
    if (c < 0x41 || c > 0x4DF)
        return c;
    if (c <= 0x5A)
        return char16_t(c + 0x20);
    if (c < 0xC0)
        return c;
    if (c <= 0xD7 || (c >= 0xD9 && c <= 0xDD))
        return char16_t(c + 0x20);
    if (c < 0x100)
        return c;
    if (c <= 0x137 || (c >= 0x14A && c <= 0x173) || (c >= 0x218 && c <= 0x21B) || (c >= 0x490 && c <= 0x4BF) ||
        c >= 0x4D0)
        return (c & 1) ? c : char16_t(c + 1);
    if (c == 0x178)
        return 0xFF;
    if (c >= 0x179 && c <= 0x17E)
        return (c & 1) ? char16_t(c + 1) : c;
    if (c >= 0x400 && c <= 0x40F)
        return char16_t(c + 0x50);
    if (c >= 0x413 && c <= 0x42F)
        return char16_t(c + 0x20);
    return c;
}

#if ECS_SSE2
using BlockScan::blockStaysInPage;
using BlockScan::firstUnit;
using BlockScan::loadAlignedBlock;
using BlockScan::loadBlock;
using BlockScan::maskOf;
#endif

// Two zero-terminated texts compared unit by unit; both non-null.
ECS_NO_SANITIZE_OVERREAD int compareTerminated(const char16_t* a, const char16_t* b)
{
#if ECS_SSE2
    const __m128i zero = _mm_setzero_si128();
    for (;;) {
        if (!blockStaysInPage(a) || !blockStaysInPage(b)) {
            // Near a page end: step by units until both are safe again.
            for (int i = 0; i < 8; ++i, ++a, ++b) {
                if (*a != *b || *a == 0)
                    return sign(int(*a) - int(*b));
            }
            continue;
        }
        const __m128i va = loadBlock(a);
        const __m128i vb = loadBlock(b);
        const __m128i stop =
            _mm_or_si128(_mm_andnot_si128(_mm_cmpeq_epi16(va, vb), _mm_set1_epi16(-1)), _mm_cmpeq_epi16(va, zero));
        const unsigned int mask = maskOf(stop);
        if (mask) {
            const unsigned int i = firstUnit(mask);
            return sign(int(a[i]) - int(b[i]));
        }
        a += 8;
        b += 8;
    }
#else
    for (;; ++a, ++b) {
        if (*a != *b || *a == 0)
            return sign(int(*a) - int(*b));
    }
#endif
}

int compareTerminatedIC(const char16_t* a, const char16_t* b)
{
    for (;; ++a, ++b) {
        const char16_t ca = foldAscii(*a);
        const char16_t cb = foldAscii(*b);
        if (ca != cb || ca == 0)
            return sign(int(ca) - int(cb));
    }
}

// Shared null/empty rules of strcmp and strcmpIC: a null pointer equals "".
// Returns true with the answer in result when the nulls decide it.
inline bool compareNulls(const char16_t* a, const char16_t* b, int& result)
{
    if (a && b)
        return false;
    if (!a && !b)
        result = 0;
    else if (!a)
        result = (*b != 0) ? -1 : 0;
    else
        result = (*a != 0) ? 1 : 0;
    return true;
}

template <typename Fold>
int reverseCompare(const char16_t* a, unsigned int lengthA, const char16_t* b, unsigned int lengthB, Fold fold)
{
    if (lengthA == 0)
        return lengthB == 0 ? 0 : -1;
    if (lengthB == 0)
        return 1;
    unsigned int ia = lengthA - 1;
    unsigned int ib = lengthB - 1;
    for (;;) {
        const char16_t ca = fold(a[ia]);
        const char16_t cb = fold(b[ib]);
        if (ia == 0) {
            if (ib > 0)
                return ca <= cb ? -1 : 1;
            return ca > cb ? 1 : (ca < cb ? -1 : 0);
        }
        if (ib == 0)
            return ca >= cb ? 1 : -1;
        if (ca > cb)
            return 1;
        if (ca < cb)
            return -1;
        --ia;
        --ib;
    }
}

template <typename Fold>
bool startsWith(const char16_t* text, const char16_t* prefix, Fold fold)
{
    if (!text || !prefix || *text == 0 || *prefix == 0)
        return false;
    // A mismatch at text's terminator ends the walk, so a longer prefix is false.
    for (; *prefix; ++text, ++prefix) {
        if (fold(*text) != fold(*prefix))
            return false;
    }
    return true;
}

template <typename Fold>
bool endsWith(const char16_t* text, const char16_t* suffix, Fold fold)
{
    const int textLength = CStringCore::strlen(text);
    const int suffixLength = CStringCore::strlen(suffix);
    if (textLength == 0 || suffixLength == 0 || suffixLength > textLength)
        return false;
    const char16_t* tail = text + (textLength - suffixLength);
    for (int i = 0; i < suffixLength; ++i) {
        if (fold(tail[i]) != fold(suffix[i]))
            return false;
    }
    return true;
}

inline char16_t identity(char16_t ch)
{
    return ch;
}

} // namespace

CStringCore::CStringCore() = default;
CStringCore::CStringCore(const CStringCore&) = default;
CStringCore::~CStringCore() = default;

bool CStringCore::isNumberStart(const char16_t* text, unsigned int length)
{
    return text && length != 0 && isNumber(text[0]);
}

ECS_NO_SANITIZE_OVERREAD int CStringCore::strlen(const char16_t* text)
{
    if (!text)
        return 0;
#if ECS_SSE2
    // Units are 2-byte aligned in every buffer the library makes; an odd
    // address (packed foreign data) takes the plain loop.
    if (reinterpret_cast<std::uintptr_t>(text) & 1u) {
        const char16_t* p = text;
        while (*p)
            ++p;
        return int(p - text);
    }
    // Aligned 16-byte blocks never cross a page; the bytes before text in the
    // first block are masked off.
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(text);
    const char16_t* block = reinterpret_cast<const char16_t*>(address & ~std::uintptr_t(15));
    const __m128i zero = _mm_setzero_si128();
    unsigned int mask = maskOf(_mm_cmpeq_epi16(loadAlignedBlock(block), zero));
    mask &= ~0u << (address & 15u);
    while (mask == 0) {
        block += 8;
        mask = maskOf(_mm_cmpeq_epi16(loadAlignedBlock(block), zero));
    }
    return int((block + firstUnit(mask)) - text);
#else
    const char16_t* p = text;
    while (*p)
        ++p;
    return int(p - text);
#endif
}

void CStringCore::strcpy(char16_t* dst, const char16_t* src)
{
    if (!dst)
        return;
    if (!src) {
        *dst = 0;
        return;
    }
    std::memmove(dst, src, (std::size_t(strlen(src)) + 1) * sizeof(char16_t));
}

void CStringCore::strncpy(char16_t* dst, const char16_t* src, unsigned int count)
{
    if (!dst)
        return;
    unsigned int i = 0;
    if (src) {
        for (; i < count && src[i]; ++i)
            dst[i] = src[i];
    }
    dst[i] = 0;
}

void CStringCore::strcat(char16_t* dst, const char16_t* src)
{
    if (!dst || !src)
        return;
    strcpy(dst + strlen(dst), src);
}

int CStringCore::strcmp(const char16_t* a, const char16_t* b)
{
    int result;
    if (compareNulls(a, b, result))
        return result;
    return compareTerminated(a, b);
}

int CStringCore::strcmpIC(const char16_t* a, const char16_t* b)
{
    int result;
    if (compareNulls(a, b, result))
        return result;
    return compareTerminatedIC(a, b);
}

bool CStringCore::strncmp(const char16_t* a, const char16_t* b, unsigned int count)
{
    return count == 0 || std::memcmp(a, b, std::size_t(count) * sizeof(char16_t)) == 0;
}

bool CStringCore::strncmpIC(const char16_t* a, const char16_t* b, unsigned int count)
{
    for (unsigned int i = 0; i < count; ++i) {
        if (foldAscii(a[i]) != foldAscii(b[i]))
            return false;
    }
    return true;
}

int CStringCore::strrcmp(const char16_t* a, unsigned int lengthA, const char16_t* b, unsigned int lengthB)
{
    return reverseCompare(a, lengthA, b, lengthB, identity);
}

int CStringCore::strrcmpIC(const char16_t* a, unsigned int lengthA, const char16_t* b, unsigned int lengthB)
{
    return reverseCompare(a, lengthA, b, lengthB, foldAscii);
}

int CStringCore::strstr(const char16_t* text, const char16_t* part)
{
    const int textLength = strlen(text);
    const int partLength = strlen(part);
    if (textLength == 0 || partLength == 0 || partLength > textLength)
        return -1;
    // Candidates are the positions holding the pattern's first unit, in
    // increasing order, which visits the matches in the same order as trying
    // every position.
    const int last = textLength - partLength;
    int pos = 0;
    while (pos <= last) {
        const int found = findChar(text + pos, unsigned(last - pos + 1), part[0]);
        if (found < 0)
            return -1;
        pos += found;
        if (strncmp(text + pos + 1, part + 1, unsigned(partLength - 1)))
            return pos;
        ++pos;
    }
    return -1;
}

int CStringCore::strstr_last(const char16_t* text, const char16_t* part)
{
    const int textLength = strlen(text);
    const int partLength = strlen(part);
    if (textLength == 0 || partLength == 0 || partLength > textLength)
        return -1;
    for (int pos = textLength - partLength; pos >= 0; --pos) {
        if (text[pos] == part[0] && strncmp(text + pos, part, unsigned(partLength)))
            return pos;
    }
    return -1;
}

bool CStringCore::strstart(const char16_t* text, const char16_t* prefix)
{
    return startsWith(text, prefix, identity);
}

bool CStringCore::strstartIC(const char16_t* text, const char16_t* prefix)
{
    return startsWith(text, prefix, foldAscii);
}

bool CStringCore::strend(const char16_t* text, const char16_t* suffix)
{
    return endsWith(text, suffix, identity);
}

bool CStringCore::strendIC(const char16_t* text, const char16_t* suffix)
{
    return endsWith(text, suffix, foldAscii);
}

unsigned int CStringCore::charCount(const char16_t* text, unsigned int length, char16_t ch)
{
    if (!text)
        return 0;
    unsigned int count = 0;
    for (unsigned int i = 0; i < length; ++i)
        count += (text[i] == ch) ? 1u : 0u;
    return count;
}

int CStringCore::findChar(const char16_t* text, unsigned int length, char16_t ch)
{
    if (!text)
        return -1;
    unsigned int i = 0;
#if ECS_SSE2
    // Counted: every block read lies inside the given length.
    const __m128i needle = _mm_set1_epi16(short(ch));
    for (; i + 8 <= length; i += 8) {
        const unsigned int mask = maskOf(_mm_cmpeq_epi16(loadBlock(text + i), needle));
        if (mask)
            return int(i + firstUnit(mask));
    }
#endif
    for (; i < length; ++i) {
        if (text[i] == ch)
            return int(i);
    }
    return -1;
}

int CStringCore::findLastChar(const char16_t* text, unsigned int length, char16_t ch)
{
    if (!text)
        return -1;
    for (unsigned int i = length; i > 0; --i) {
        if (text[i - 1] == ch)
            return int(i - 1);
    }
    return -1;
}

int CStringCore::findText(const char16_t* text, int textLength, const char16_t* word, int wordLength, bool matchCase,
                          bool wholeWord)
{
    if (!text || !word)
        return -1;
    if (textLength < 0)
        textLength = strlen(text);
    if (wordLength < 0)
        wordLength = strlen(word);
    if (textLength == 0 || wordLength == 0 || wordLength > textLength)
        return -1;
    const bool wordStartsWord = wholeWord && isWordChar(word[0]);
    const bool wordEndsWord = wholeWord && isWordChar(word[wordLength - 1]);
    const int last = textLength - wordLength;
    for (int pos = 0; pos <= last; ++pos) {
        const bool equal = matchCase ? strncmp(text + pos, word, unsigned(wordLength))
                                     : strncmpIC(text + pos, word, unsigned(wordLength));
        if (!equal)
            continue;
        if (wordStartsWord && pos != 0 && isWordChar(text[pos - 1]))
            continue;
        if (wordEndsWord && pos != last && isWordChar(text[pos + wordLength]))
            continue;
        return pos;
    }
    return -1;
}

void CStringCore::setZero(char16_t* text, unsigned int length)
{
    if (text && length)
        std::memset(text, 0, std::size_t(length) * sizeof(char16_t));
}

void CStringCore::toUppercase(char16_t* text, unsigned int length)
{
    if (!text)
        return;
    for (unsigned int i = 0; i < length; ++i)
        text[i] = upperUnit(text[i]);
}

void CStringCore::toLowercase(char16_t* text, unsigned int length)
{
    if (!text)
        return;
    for (unsigned int i = 0; i < length; ++i)
        text[i] = lowerUnit(text[i]);
}

void CStringCore::replace(char16_t* text, unsigned int length, char16_t from, char16_t to)
{
    if (!text)
        return;
    for (unsigned int i = 0; i < length; ++i) {
        if (text[i] == from)
            text[i] = to;
    }
}

} // namespace Trell

#include <text/CStringCore.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#if defined(__unix__)
#include <sys/mman.h>
#include <unistd.h>
#endif

using Trell::CStringCore;

namespace {

int signOf(int v)
{
    return (v > 0) - (v < 0);
}

// Random short texts over a small alphabet (so that matches and equal tails
// are frequent): the ends of the ASCII letters and their neighbours, which
// must not fold, and units above 0x7FFF to catch signed comparisons.
std::u16string randomText(std::mt19937& rng, int maxLength)
{
    static const char16_t alphabet[] = {u'a', u'b', u'z', u'A',   u'B',   u'Z',   u'_',  u'@',
                                        u'[', u'`', u'{', 0x00E9, 0x00C9, 0x8000, 0xFFFF};
    std::u16string text(size_t(rng() % unsigned(maxLength + 1)), u'\0');
    for (char16_t& ch : text)
        ch = alphabet[rng() % std::size(alphabet)];
    return text;
}

std::u16string foldRef(std::u16string text)
{
    for (char16_t& ch : text)
        ch = (ch >= u'A' && ch <= u'Z') ? char16_t(ch + 32) : ch;
    return text;
}

int reverseCompareRef(std::u16string a, std::u16string b)
{
    std::reverse(a.begin(), a.end());
    std::reverse(b.begin(), b.end());
    return signOf(a.compare(b));
}

int indexRef(size_t found)
{
    return found == std::u16string::npos ? -1 : int(found);
}

} // namespace

#if defined(__unix__)
// Texts that end right before an inaccessible page: any read past the
// terminator that crosses the page would fault. The lengths put the start at
// every offset in a 16-byte block, after zeros the vector scan must mask
// off; a unit whose low byte is zero is not a terminator.
TEST(CStringCore, ScansStopAtAPageEnd)
{
    EXPECT_EQ(CStringCore::strlen(nullptr), 0);
    const long page = sysconf(_SC_PAGESIZE);
    void* mem = mmap(nullptr, size_t(page) * 2, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mem, MAP_FAILED);
    char* base = static_cast<char*>(mem);
    ASSERT_EQ(mprotect(base + page, size_t(page), PROT_NONE), 0);
    char16_t* end = reinterpret_cast<char16_t*>(base + page);
    for (int length = 0; length < 70; ++length) {
        char16_t* a = end - (length + 1);
        for (int i = 0; i < length; ++i)
            a[i] = char16_t(0x100 + i);
        a[length] = 0;
        EXPECT_EQ(CStringCore::strlen(a), length);
        char16_t* b = reinterpret_cast<char16_t*>(base) + 3;
        std::copy(a, a + length + 1, b);
        EXPECT_EQ(CStringCore::strcmp(a, b), 0);
        b[length] = u'y';
        b[length + 1] = 0;
        EXPECT_EQ(CStringCore::strcmp(a, b), -1);
        EXPECT_EQ(CStringCore::strcmp(b, a), 1);
        EXPECT_EQ(CStringCore::findChar(a, unsigned(length), u'y'), -1);
    }
    munmap(mem, size_t(page) * 2);
}
#endif

TEST(CStringCore, CopyRoutinesHandleNullAndCounts)
{
    char16_t dst[8] = {u'#', u'#'};
    CStringCore::strcpy(dst, nullptr);
    EXPECT_EQ(dst[0], 0);
    CStringCore::strcpy(nullptr, u"abc");
    CStringCore::strncpy(nullptr, u"abc", 2);
    CStringCore::strcat(nullptr, u"x");
    std::fill(std::begin(dst), std::end(dst), u'#');
    CStringCore::strncpy(dst, u"abcdef", 3);
    EXPECT_EQ(std::u16string(dst, 5), std::u16string(u"abc\0#", 5)); // count + 1 units, no more
    CStringCore::strncpy(dst, nullptr, 5);
    EXPECT_EQ(dst[0], 0);
    CStringCore::strncpy(dst, u"ab", 5);
    CStringCore::strcat(dst, u"cd");
    CStringCore::strcat(dst, nullptr);
    EXPECT_EQ(std::u16string(dst), u"abcd");
}

TEST(CStringCore, ComparisonsOfNullAndEdgeTexts)
{
    // Null equals empty (the folds of texts are compared against the reference below).
    const std::tuple<const char16_t*, const char16_t*, int> cases[] = {
        {nullptr, nullptr, 0}, {nullptr, u"", 0}, {nullptr, u"a", -1}, {u"a", nullptr, 1}};
    for (const auto& [a, b, expected] : cases) {
        EXPECT_EQ(CStringCore::strcmp(a, b), expected);
        EXPECT_EQ(CStringCore::strcmpIC(a, b), expected);
    }
    EXPECT_FALSE(CStringCore::strncmp(u"ab", u"abc", 3)); // a terminator is a plain mismatch
    const char16_t a[] = {u'a', 0, u'x'};
    const char16_t b[] = {u'a', 0, u'y'};
    EXPECT_FALSE(CStringCore::strncmp(a, b, 3)); // no stop at a terminator
    EXPECT_FALSE(CStringCore::strncmpIC(a, b, 3));

    // Counts bound the texts.
    EXPECT_EQ(std::make_tuple(CStringCore::strrcmp(nullptr, 0, u"a", 1), CStringCore::strrcmp(u"a", 1, nullptr, 0),
                              CStringCore::strrcmp(u"abc", 2, u"ab", 2)),
              std::make_tuple(-1, 1, 0));

    const char16_t* const none = nullptr;
    for (const auto& [text, part] :
         {std::pair{u"abc", u""}, {u"", u"a"}, {none, u"a"}, {u"a", none}, {u"ab", u"abc"}, {u"", u""}}) {
        EXPECT_TRUE(CStringCore::strstr(text, part) == -1 && CStringCore::strstr_last(text, part) == -1);
        EXPECT_FALSE(CStringCore::strstart(text, part) || CStringCore::strstartIC(text, part) ||
                     CStringCore::strend(text, part) || CStringCore::strendIC(text, part));
    }
}

// The zero-terminated routines against std::u16string on random texts.
TEST(CStringCore, RoutinesMatchReferenceOnRandomTexts)
{
    std::mt19937 rng(1234);
    for (int i = 0; i < 30000; ++i) {
        std::u16string a = randomText(rng, i % 5 ? 12 : 40);
        // Often the other with one unit changed (long texts: across the block
        // compare's boundaries), a prefix, a suffix or a part of it, so that
        // matches and equal tails occur.
        std::u16string b;
        switch (i % 5) {
        case 0:
            b = a + u'.';
            b[rng() % b.size()] = u'\x8001';
            break;
        case 1: b = a + randomText(rng, 3); break;
        case 2: b = randomText(rng, 3) + a; break;
        case 3: b = a.substr(rng() % (a.size() + 1), rng() % 4); break;
        default: b = randomText(rng, 12); break;
        }
        if (i % 10 >= 5)
            std::swap(a, b);
        const char16_t* pa = a.c_str();
        const char16_t* pb = b.c_str();
        const std::u16string fa = foldRef(a), fb = foldRef(b);
        ASSERT_EQ(CStringCore::strcmp(pa, pb), signOf(a.compare(b)));
        ASSERT_EQ(CStringCore::strcmpIC(pa, pb), signOf(fa.compare(fb)));
        ASSERT_EQ(CStringCore::strrcmp(pa, unsigned(a.size()), pb, unsigned(b.size())), reverseCompareRef(a, b));
        ASSERT_EQ(CStringCore::strrcmpIC(pa, unsigned(a.size()), pb, unsigned(b.size())), reverseCompareRef(fa, fb));
        const size_t n = std::min(a.size(), b.size());
        ASSERT_EQ(CStringCore::strncmp(pa, pb, unsigned(n)), a.compare(0, n, b, 0, n) == 0);
        ASSERT_EQ(CStringCore::strncmpIC(pa, pb, unsigned(n)), fa.compare(0, n, fb, 0, n) == 0);
        // The counted unit searches, over the vector blocks of the long texts.
        const char16_t ch = b.empty() ? u'a' : b[0];
        ASSERT_EQ(CStringCore::findChar(pa, unsigned(a.size()), ch), indexRef(a.find(ch)));
        ASSERT_EQ(CStringCore::findLastChar(pa, unsigned(a.size()), ch), indexRef(a.rfind(ch)));
        ASSERT_EQ(CStringCore::charCount(pa, unsigned(a.size()), ch), unsigned(std::count(a.begin(), a.end(), ch)));
        if (a.empty() || b.empty())
            continue;
        const bool fits = b.size() <= a.size();
        ASSERT_EQ(CStringCore::strstr(pa, pb), indexRef(a.find(b)));
        ASSERT_EQ(CStringCore::strstr_last(pa, pb), indexRef(a.rfind(b)));
        ASSERT_EQ(CStringCore::strstart(pa, pb), fits && a.compare(0, b.size(), b) == 0);
        ASSERT_EQ(CStringCore::strstartIC(pa, pb), fits && fa.compare(0, b.size(), fb) == 0);
        ASSERT_EQ(CStringCore::strend(pa, pb), fits && a.compare(a.size() - b.size(), b.size(), b) == 0);
        ASSERT_EQ(CStringCore::strendIC(pa, pb), fits && fa.compare(a.size() - b.size(), b.size(), fb) == 0);
    }
}

TEST(CStringCore, CountedRoutinesLookAtExactlyLengthUnits)
{
    const char16_t text[] = {u'a', 0, u'b', u'a', 0, u'a', u'z'};
    EXPECT_EQ(std::make_tuple(CStringCore::charCount(text, 6, u'a'), CStringCore::charCount(text, 6, 0),
                              CStringCore::charCount(nullptr, 5, u'a'), CStringCore::findChar(nullptr, 3, u'a'),
                              CStringCore::findLastChar(nullptr, 3, u'a')),
              std::make_tuple(3u, 2u, 0u, -1, -1));
    char16_t edit[] = u"abcab";
    CStringCore::replace(edit, 5, u'a', u'x');
    CStringCore::replace(edit, 0, u'x', u'y');
    CStringCore::toUppercase(edit, 2);
    CStringCore::setZero(edit + 3, 1);
    EXPECT_EQ(std::u16string(edit, 5), std::u16string(u"XBc\0b", 5));
    CStringCore::replace(nullptr, 5, u'x', u'y');
    CStringCore::toUppercase(nullptr, 4);
    CStringCore::setZero(nullptr, 5);
    // A number starts with a digit only.
    EXPECT_TRUE(CStringCore::isNumberStart(u"5x", 2));
    for (const auto& [text, length] : {std::pair{u"-5", 2}, {u".5", 2}, {u"+5", 2}, {u"5x", 0}, {nullptr, 3}})
        EXPECT_FALSE(CStringCore::isNumberStart(text, length));
}

TEST(CStringCore, FindTextCountsCaseAndWholeWords)
{
    // Text, its length, word, its length, match case, whole word, expected. A
    // shorter count hides the rest; '-' is a word character, a non-ASCII letter
    // is not; punctuation needs no boundary on its side; the last position
    // needs no check after it.
    const std::tuple<const char16_t*, int, const char16_t*, int, bool, bool, int> cases[] = {
        {nullptr, 3, u"a", 1, true, false, -1},      {u"abc", 0, u"a", 1, true, false, -1},
        {u"abc", 3, u"a", 0, true, false, -1},       {u"ab", -1, u"abc", -1, true, false, -1},
        {u"xxABC", -1, u"abc", -1, true, false, -1}, {u"xxABC", -1, u"abc", -1, false, false, 2},
        {u"xxabc", 4, u"abc", -1, true, false, -1},  {u"xxabc", -1, u"abcdef", 3, true, false, 2},
        {u"a-b ab", -1, u"ab", -1, true, true, 4},   {u"ab", -1, u"ab", -1, true, true, 0},
        {u"abx ab", -1, u"ab", -1, true, true, 4},   {u"_ab", -1, u"ab", -1, true, true, -1},
        {u"\u00E9ab", -1, u"ab", -1, true, true, 1}, {u"x.ab", -1, u".ab", -1, true, true, 1},
        {u"ab", -1, u"b", -1, true, true, -1},       {u"xx abc", 5, u"ab", -1, true, true, 3},
    };
    for (const auto& row : cases) {
        const auto& [text, textLength, word, wordLength, matchCase, wholeWord, expected] = row;
        EXPECT_EQ(CStringCore::findText(text, textLength, word, wordLength, matchCase, wholeWord), expected)
            << "row " << (&row - cases);
    }
}

// Expected tables built straight from the mapped ranges (first, last, delta,
// step: 2 maps every other unit), independently of the library's branches.
TEST(CStringCore, CaseTablesOverAllUnits)
{
    using Ranges = std::vector<std::tuple<unsigned int, unsigned int, int, unsigned int>>;
    const Ranges upper = {{0x61, 0x7A, -0x20, 1},   {0xE0, 0xF7, -0x20, 1},   {0xF9, 0xFD, -0x20, 1},
                          {0x433, 0x44F, -0x20, 1}, {0x101, 0x137, -1, 2},    {0x14B, 0x173, -1, 2},
                          {0x219, 0x21B, -1, 2},    {0x491, 0x4BF, -1, 2},    {0x4D1, 0x4DF, -1, 2},
                          {0x17A, 0x17E, -1, 2},    {0x450, 0x45F, -0x50, 1}, {0xFF, 0xFF, 0x79, 1}};
    const Ranges lower = {{0x41, 0x5A, 0x20, 1},   {0xC0, 0xD7, 0x20, 1},   {0xD9, 0xDD, 0x20, 1},
                          {0x413, 0x42F, 0x20, 1}, {0x100, 0x137, 1, 2},    {0x14A, 0x173, 1, 2},
                          {0x218, 0x21B, 1, 2},    {0x490, 0x4BF, 1, 2},    {0x4D0, 0x4DF, 1, 2},
                          {0x179, 0x17E, 1, 2},    {0x400, 0x40F, 0x50, 1}, {0x178, 0x178, -0x79, 1}};
    for (const bool bUpper : {true, false}) {
        std::vector<char16_t> expected(0x10000), units(0x10000);
        for (unsigned int u = 0; u <= 0xFFFF; ++u)
            expected[u] = units[u] = char16_t(u);
        for (const auto& [first, last, delta, step] : bUpper ? upper : lower)
            for (unsigned int u = first; u <= last; u += step)
                expected[u] = char16_t(int(u) + delta);
        (bUpper ? CStringCore::toUppercase : CStringCore::toLowercase)(units.data(), unsigned(units.size()));
        for (unsigned int u = 0; u <= 0xFFFF; ++u)
            ASSERT_EQ(units[u], expected[u]) << (bUpper ? "upper" : "lower") << std::hex << " unit 0x" << u;
    }
}

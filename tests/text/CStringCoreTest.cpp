#include <text/CStringCore.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <string>
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
// are frequent) plus a few units above 0x7FFF to catch signed comparisons.
std::u16string randomText(std::mt19937& rng, int maxLength)
{
    static const char16_t alphabet[] = {u'a', u'b', u'A', u'B', u'_', 0x00E9, 0x00C9, 0x8000, 0xFFFF};
    std::uniform_int_distribution<int> lengthDist(0, maxLength);
    std::uniform_int_distribution<int> unitDist(0, int(std::size(alphabet)) - 1);
    std::u16string text(size_t(lengthDist(rng)), u'\0');
    for (char16_t& ch : text)
        ch = alphabet[unitDist(rng)];
    return text;
}

char16_t foldAsciiRef(char16_t ch)
{
    return (ch >= u'A' && ch <= u'Z') ? char16_t(ch + 32) : ch;
}

std::u16string foldRef(std::u16string text)
{
    for (char16_t& ch : text)
        ch = foldAsciiRef(ch);
    return text;
}

// Independent model of the reverse order: compare the reversed texts.
int reverseCompareRef(std::u16string a, std::u16string b)
{
    std::reverse(a.begin(), a.end());
    std::reverse(b.begin(), b.end());
    return signOf(a.compare(b));
}

} // namespace

// --- classification ---------------------------------------------------------

TEST(CStringCore, ClassificationAcceptsExactlyTheListedUnits)
{
    for (unsigned int u = 0; u <= 0xFFFF; ++u) {
        const char16_t ch = char16_t(u);
        SCOPED_TRACE(u);
        EXPECT_EQ(CStringCore::isLetter(ch), (u >= 0x41 && u <= 0x5A) || (u >= 0x61 && u <= 0x7A));
        EXPECT_EQ(CStringCore::isNumber(ch), u >= 0x30 && u <= 0x39);
        EXPECT_EQ(CStringCore::isTAB(ch), u == 0x09);
        EXPECT_EQ(CStringCore::isReturn(ch), u == 0x0D || u == 0x0A);
        EXPECT_EQ(CStringCore::isUnderline(ch), u == 0x5F);
        EXPECT_EQ(CStringCore::isConnectLine(ch), u == 0x2D);
        EXPECT_EQ(CStringCore::isBlank(ch), u == 0x20 || u == 0x09 || u == 0x0D || u == 0x0A);
    }
}

TEST(CStringCore, NumberStartNeedsALeadingDigit)
{
    for (const char16_t* text : {u"-5", u".5", u"+5"})
        EXPECT_FALSE(CStringCore::isNumberStart(text, 2)) << char(text[0]);
    EXPECT_TRUE(CStringCore::isNumberStart(u"5x", 2));
    EXPECT_FALSE(CStringCore::isNumberStart(u"5x", 0));
    EXPECT_FALSE(CStringCore::isNumberStart(nullptr, 3));
}

// --- zero-terminated routines -------------------------------------------------

TEST(CStringCore, StrlenOverEveryAlignmentAndLength)
{
    EXPECT_EQ(CStringCore::strlen(nullptr), 0);
    EXPECT_EQ(CStringCore::strlen(u""), 0);
    // The vector scan masks off units before the start of the text: put
    // zeros there and vary the offset inside a 16-byte block.
    alignas(16) char16_t buffer[96];
    for (unsigned int offset = 0; offset < 8; ++offset) {
        for (unsigned int length = 0; length < 70; ++length) {
            std::fill(std::begin(buffer), std::end(buffer), char16_t(0));
            for (unsigned int i = 0; i < length; ++i)
                buffer[offset + i] = char16_t(0x100 + i);
            EXPECT_EQ(CStringCore::strlen(buffer + offset), int(length)) << offset << " " << length;
        }
    }
    // A unit whose low byte is zero is not a terminator.
    EXPECT_EQ(CStringCore::strlen(u"\x0100\x2000\x0100"), 3);
}

#if defined(__unix__)
// Texts that end right before an inaccessible page: any read past the
// terminator that crosses the page would fault.
TEST(CStringCore, ScansStopAtAPageEnd)
{
    const long page = sysconf(_SC_PAGESIZE);
    void* mem = mmap(nullptr, size_t(page) * 2, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mem, MAP_FAILED);
    char* base = static_cast<char*>(mem);
    ASSERT_EQ(mprotect(base + page, size_t(page), PROT_NONE), 0);
    char16_t* end = reinterpret_cast<char16_t*>(base + page);
    for (int length = 0; length < 20; ++length) {
        char16_t* a = end - (length + 1);
        for (int i = 0; i < length; ++i)
            a[i] = u'x';
        a[length] = 0;
        EXPECT_EQ(CStringCore::strlen(a), length);
        EXPECT_EQ(CStringCore::strcmp(a, a), 0);
        // b is the same text placed elsewhere in the page.
        char16_t* b = reinterpret_cast<char16_t*>(base) + 3;
        std::copy(a, a + length + 1, b);
        EXPECT_EQ(CStringCore::strcmp(a, b), 0);
        EXPECT_EQ(CStringCore::strcmp(b, a), 0);
        b[length] = u'y';
        b[length + 1] = 0;
        EXPECT_EQ(CStringCore::strcmp(a, b), -1);
        EXPECT_EQ(CStringCore::strcmp(b, a), 1);
    }
    munmap(mem, size_t(page) * 2);
}
#endif

TEST(CStringCore, CopyRoutinesHandleNullAndCounts)
{
    char16_t dst[8];
    std::fill(std::begin(dst), std::end(dst), u'#');
    CStringCore::strcpy(dst, nullptr);
    EXPECT_EQ(dst[0], 0);
    CStringCore::strcpy(nullptr, u"abc"); // must not crash
    CStringCore::strcpy(dst, u"abc");
    EXPECT_EQ(std::u16string(dst), u"abc");

    std::fill(std::begin(dst), std::end(dst), u'#');
    CStringCore::strncpy(dst, u"abcdef", 3);
    EXPECT_EQ(std::u16string(dst), u"abc");
    EXPECT_EQ(dst[4], u'#'); // writes count + 1 units, no more
    CStringCore::strncpy(dst, u"ab", 5); // stops early at the terminator
    EXPECT_EQ(std::u16string(dst), u"ab");
    CStringCore::strncpy(dst, nullptr, 5);
    EXPECT_EQ(dst[0], 0);
    CStringCore::strncpy(dst, u"abc", 0);
    EXPECT_EQ(dst[0], 0);
    CStringCore::strncpy(nullptr, u"abc", 2);

    CStringCore::strcpy(dst, u"ab");
    CStringCore::strcat(dst, u"cd");
    EXPECT_EQ(std::u16string(dst), u"abcd");
    CStringCore::strcat(dst, nullptr);
    CStringCore::strcat(nullptr, u"x");
    EXPECT_EQ(std::u16string(dst), u"abcd");
}

TEST(CStringCore, StrcmpOrdersNullPrefixesAndUnsignedUnits)
{
    struct tagCase
    {
        const char16_t* a;
        const char16_t* b;
        int exact;
        int folded;
    };
    const tagCase cases[] = {
        {nullptr, nullptr, 0, 0}, {nullptr, u"", 0, 0}, {u"", nullptr, 0, 0}, // null equals empty
        {nullptr, u"a", -1, -1}, {u"a", nullptr, 1, 1}, {nullptr, u"A", -1, -1}, {u"A", nullptr, 1, 1},
        {u"ab", u"abc", -1, -1}, {u"abc", u"ab", 1, 1}, {u"abc", u"abc", 0, 0},
        {u"\xFFFF", u"a", 1, 1}, {u"a", u"\x8000", -1, -1}, // unsigned
        {u"\xFFFF", u"\x0001", 1, 1}, {u"\x0001", u"\xFFFF", -1, -1}, // -1/0/1 even when far apart
        {u"ABC", u"abc", -1, 0},
        {u"A", u"_", -1, 1}, // 'A' folds to 'a' (0x61), which sorts after '_' (0x5F)
        // Only ASCII letters fold: not accented ones, nor '@' and '[' next to the letters.
        {u"\x00C9", u"\x00E9", -1, -1}, {u"@", u"`", -1, -1}, {u"[", u"{", -1, -1},
    };
    for (const tagCase& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.a ? std::u16string(c.a).size() : 99u) << " vs "
                                        << (c.b ? std::u16string(c.b).size() : 99u));
        EXPECT_EQ(CStringCore::strcmp(c.a, c.b), c.exact);
        EXPECT_EQ(CStringCore::strcmpIC(c.a, c.b), c.folded);
    }

    // Long texts that differ late, at every offset, so the block compare is
    // exercised across its boundaries.
    std::u16string base(40, u'q');
    for (size_t at = 0; at < base.size(); ++at) {
        std::u16string other = base;
        other[at] = u'r';
        EXPECT_EQ(CStringCore::strcmp(base.c_str(), other.c_str()), -1) << at;
        EXPECT_EQ(CStringCore::strcmp(other.c_str(), base.c_str()), 1) << at;
        EXPECT_EQ(CStringCore::strcmp(base.c_str() + at, base.c_str() + at), 0);
        EXPECT_EQ(CStringCore::strcmp(base.substr(0, at).c_str(), base.c_str()), -1);
    }
}

TEST(CStringCore, StrcmpMatchesReferenceOnRandomTexts)
{
    std::mt19937 rng(1234);
    for (int i = 0; i < 20000; ++i) {
        const std::u16string a = randomText(rng, 20);
        const std::u16string b = (i % 3 == 0) ? a + randomText(rng, 3) : randomText(rng, 20);
        ASSERT_EQ(CStringCore::strcmp(a.c_str(), b.c_str()), signOf(a.compare(b)));
        ASSERT_EQ(CStringCore::strcmpIC(a.c_str(), b.c_str()), signOf(foldRef(a).compare(foldRef(b))));
    }
}

TEST(CStringCore, StrncmpComparesExactlyCountUnits)
{
    EXPECT_TRUE(CStringCore::strncmp(u"abc", u"xyz", 0));
    EXPECT_TRUE(CStringCore::strncmp(u"abX", u"abY", 2));
    EXPECT_FALSE(CStringCore::strncmp(u"abX", u"abY", 3));
    // Does not stop at a terminator: units after it still count.
    const char16_t a[] = {u'a', 0, u'x'};
    const char16_t b[] = {u'a', 0, u'y'};
    const char16_t c[] = {u'a', 0, u'x'};
    EXPECT_FALSE(CStringCore::strncmp(a, b, 3));
    EXPECT_TRUE(CStringCore::strncmp(a, c, 3));
    EXPECT_FALSE(CStringCore::strncmpIC(a, b, 3));
    EXPECT_TRUE(CStringCore::strncmpIC(u"HeLLo", u"hEllO", 5));
    EXPECT_FALSE(CStringCore::strncmpIC(u"\x00C9", u"\x00E9", 1));
    // A terminator against a character is a plain mismatch.
    EXPECT_FALSE(CStringCore::strncmp(u"ab", u"abc", 3));
}

// The random comparison below covers the ordering; these are the inputs it
// never produces.
TEST(CStringCore, StrrcmpNullAndCountedTexts)
{
    EXPECT_EQ(CStringCore::strrcmp(u"", 0, u"", 0), 0);
    EXPECT_EQ(CStringCore::strrcmp(nullptr, 0, u"a", 1), -1);
    EXPECT_EQ(CStringCore::strrcmp(u"a", 1, nullptr, 0), 1);
    EXPECT_EQ(CStringCore::strrcmp(u"za", 2, u"ab", 2), -1);
    // Counts, not terminators, bound the texts.
    EXPECT_EQ(CStringCore::strrcmp(u"abc", 2, u"ab", 2), 0);
}

TEST(CStringCore, StrrcmpMatchesReversedCompareOnRandomTexts)
{
    std::mt19937 rng(99);
    for (int i = 0; i < 30000; ++i) {
        std::u16string a = randomText(rng, 6);
        // Often share a tail so that the first-unit rules are reached.
        std::u16string b = (i % 2) ? randomText(rng, 3) + a : randomText(rng, 6);
        if (i % 4 == 0)
            std::swap(a, b);
        ASSERT_EQ(CStringCore::strrcmp(a.c_str(), unsigned(a.size()), b.c_str(), unsigned(b.size())),
                  reverseCompareRef(a, b))
            << "a=" << a.size() << " b=" << b.size();
        ASSERT_EQ(CStringCore::strrcmpIC(a.c_str(), unsigned(a.size()), b.c_str(), unsigned(b.size())),
                  reverseCompareRef(foldRef(a), foldRef(b)));
    }
}

TEST(CStringCore, SearchesRejectNullEmptyAndLongPatterns)
{
    struct tagCase
    {
        const char16_t* text;
        const char16_t* part;
        int first;
        int last;
    };
    const tagCase cases[] = {
        {u"abc", u"", -1, -1}, {u"", u"a", -1, -1}, {nullptr, u"a", -1, -1}, {u"a", nullptr, -1, -1},
        {u"ab", u"abc", -1, -1}, {u"abab", u"ab", 0, 2}, {u"xabab", u"ab", 1, 3}, {u"abc", u"c", 2, 2},
        {u"abc", u"abc", 0, 0}, {u"aaa", u"aa", 0, 1}, {u"abc", u"a", 0, 0},
    };
    for (const tagCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << "/" << c.last << " row with part length "
                                        << (c.part ? std::u16string(c.part).size() : 99u));
        EXPECT_EQ(CStringCore::strstr(c.text, c.part), c.first);
        EXPECT_EQ(CStringCore::strstr_last(c.text, c.part), c.last);
    }
}

TEST(CStringCore, StrstrMatchesReferenceOnRandomTexts)
{
    std::mt19937 rng(7);
    for (int i = 0; i < 20000; ++i) {
        const std::u16string text = randomText(rng, 40);
        std::u16string part = randomText(rng, 3);
        if (part.empty())
            part = u"a";
        const size_t first = text.find(part);
        const size_t last = text.rfind(part);
        ASSERT_EQ(CStringCore::strstr(text.c_str(), part.c_str()), first == std::u16string::npos ? -1 : int(first));
        ASSERT_EQ(CStringCore::strstr_last(text.c_str(), part.c_str()),
                  last == std::u16string::npos ? -1 : int(last));
    }
}

TEST(CStringCore, PrefixAndSuffixTests)
{
    struct tagCase
    {
        const char16_t* text;
        const char16_t* part;
        bool start, end, startIC, endIC;
    };
    const tagCase cases[] = {
        {u"abc", u"abc", true, true, true, true}, {u"abc", u"ab", true, false, true, false},
        {u"abc", u"bc", false, true, false, true}, {u"ab", u"abc", false, false, false, false},
        {u"bc", u"abc", false, false, false, false}, {u"", u"", false, false, false, false},
        {u"abc", u"", false, false, false, false}, {nullptr, u"a", false, false, false, false},
        {u"abc", nullptr, false, false, false, false}, {u"Hello", u"hE", false, false, true, false},
        {u"Hello", u"LLO", false, false, false, true}, {u"\x00C9", u"\x00E9", false, false, false, false},
    };
    for (const tagCase& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.text ? std::u16string(c.text).size() : 99u) << " / "
                                        << (c.part ? std::u16string(c.part).size() : 99u));
        EXPECT_EQ(CStringCore::strstart(c.text, c.part), c.start);
        EXPECT_EQ(CStringCore::strend(c.text, c.part), c.end);
        EXPECT_EQ(CStringCore::strstartIC(c.text, c.part), c.startIC);
        EXPECT_EQ(CStringCore::strendIC(c.text, c.part), c.endIC);
    }
}

// --- counted routines ----------------------------------------------------------

TEST(CStringCore, CountedRoutinesLookAtExactlyLengthUnits)
{
    const char16_t text[] = {u'a', 0, u'b', u'a', 0, u'a', u'z'};
    EXPECT_EQ(CStringCore::charCount(text, 6, u'a'), 3u);
    EXPECT_EQ(CStringCore::charCount(text, 6, 0), 2u);
    EXPECT_EQ(CStringCore::charCount(text, 0, u'a'), 0u);
    EXPECT_EQ(CStringCore::charCount(nullptr, 5, u'a'), 0u);
    EXPECT_EQ(CStringCore::findChar(text, 6, u'b'), 2);
    EXPECT_EQ(CStringCore::findChar(text, 0, u'a'), -1);
    EXPECT_EQ(CStringCore::findChar(nullptr, 3, u'a'), -1);
    EXPECT_EQ(CStringCore::findLastChar(text, 6, u'a'), 5);
    EXPECT_EQ(CStringCore::findLastChar(text, 0, u'a'), -1);
    EXPECT_EQ(CStringCore::findLastChar(nullptr, 3, u'a'), -1);
}

TEST(CStringCore, FindCharMatchesReferenceAtEveryLengthAndPosition)
{
    std::vector<char16_t> text(64, u'.');
    for (unsigned int length = 0; length <= 40; ++length) {
        for (unsigned int at = 0; at < 45; ++at) {
            std::fill(text.begin(), text.end(), u'.');
            text[at] = 0xFF21;
            text[at + 1] = 0xFF21;
            const int expected = at < length ? int(at) : -1;
            ASSERT_EQ(CStringCore::findChar(text.data(), length, 0xFF21), expected) << length << " " << at;
            const int expectedLast = at + 1 < length ? int(at + 1) : expected;
            ASSERT_EQ(CStringCore::findLastChar(text.data(), length, 0xFF21), expectedLast);
        }
    }
}

TEST(CStringCore, FindTextCountsAndCase)
{
    EXPECT_EQ(CStringCore::findText(nullptr, 3, u"a", 1, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"abc", 3, nullptr, 1, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"abc", 0, u"a", 1, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"abc", 3, u"a", 0, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"ab", -1, u"abc", -1, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"xxABC", -1, u"abc", -1, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"xxABC", -1, u"abc", -1, false, false), 2);
    // A shorter count hides the rest of the text.
    EXPECT_EQ(CStringCore::findText(u"xxabc", 4, u"abc", -1, true, false), -1);
    EXPECT_EQ(CStringCore::findText(u"xxabc", -1, u"abcdef", 3, true, false), 2);
}

TEST(CStringCore, FindTextWholeWordBoundaries)
{
    struct Case {
        const char16_t* text;
        const char16_t* word;
        int expected;
    };
    const Case cases[] = {
        {u"a-b ab", u"ab", 4},       // '-' is a word character: "a-b" is one word
        {u"ab", u"ab", 0},           // the whole text
        {u"xab ab", u"ab", 4},       // rejected start boundary, then accepted
        {u"abx ab", u"ab", 4},       // rejected end boundary
        {u"_ab", u"ab", -1},         // '_' joins words
        {u"1ab2", u"ab", -1},        // so do digits
        {u"\x00E9" u"ab", u"ab", 1}, // a non-ASCII letter is not a word character
        {u"x.ab", u".ab", 1},        // a word starting with punctuation needs no left boundary
        {u"ab.x", u"ab.", 0},        // nor a right one when it ends with punctuation
        {u"ab.x", u"ab", 0},
        {u"ab", u"b", -1},
        {u"a b", u"b", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::u16string(c.text).size());
        EXPECT_EQ(CStringCore::findText(c.text, -1, c.word, -1, true, true), c.expected);
    }
    // The last possible position needs no check after it, even when the
    // count cuts a longer word.
    EXPECT_EQ(CStringCore::findText(u"xx abc", 5, u"ab", -1, true, true), 3);
    EXPECT_EQ(CStringCore::findText(u"XAB ab", -1, u"ab", -1, false, true), 4);
}

TEST(CStringCore, SetZeroAndReplace)
{
    char16_t text[] = u"abcab";
    CStringCore::replace(text, 5, u'a', u'x');
    EXPECT_EQ(std::u16string(text), u"xbcxb");
    CStringCore::replace(text, 0, u'x', u'y');
    CStringCore::replace(nullptr, 5, u'x', u'y');
    EXPECT_EQ(std::u16string(text), u"xbcxb");
    CStringCore::setZero(text, 2);
    EXPECT_EQ(text[1], 0);
    EXPECT_EQ(text[2], u'c');
    CStringCore::setZero(nullptr, 5);
}

// --- case tables ---------------------------------------------------------------

namespace {

enum class Parity { All, Odd, Even };

struct CaseRange {
    unsigned int first;
    unsigned int last;
    int delta;
    Parity parity;
};

// Built straight from the table of mapped ranges, independently of the
// branch structure of the library's code.
std::vector<char16_t> buildCaseTable(const std::vector<CaseRange>& ranges)
{
    std::vector<char16_t> table(0x10000);
    for (unsigned int u = 0; u <= 0xFFFF; ++u)
        table[u] = char16_t(u);
    for (const CaseRange& r : ranges) {
        for (unsigned int u = r.first; u <= r.last; ++u) {
            if ((r.parity == Parity::Odd && u % 2 == 0) || (r.parity == Parity::Even && u % 2 == 1))
                continue;
            table[u] = char16_t(int(u) + r.delta);
        }
    }
    return table;
}

std::vector<char16_t> allUnits()
{
    std::vector<char16_t> units(0x10000);
    for (unsigned int u = 0; u <= 0xFFFF; ++u)
        units[u] = char16_t(u);
    return units;
}

} // namespace

TEST(CStringCore, CaseTablesOverAllUnits)
{
    struct tagCase
    {
        const char* name;
        void (*map)(char16_t*, unsigned int);
        std::vector<CaseRange> ranges;
    };
    const tagCase cases[] = {
        {"upper", CStringCore::toUppercase,
         {{0x61, 0x7A, -0x20, Parity::All},
          {0xE0, 0xF7, -0x20, Parity::All}, // deliberate: 0xF7 (division sign) maps to 0xD7
          {0xF9, 0xFD, -0x20, Parity::All}, // 0xF8 and 0xFE stay
          {0x433, 0x44F, -0x20, Parity::All}, // 0x430..0x432 stay
          {0x100, 0x137, -1, Parity::Odd},
          {0x14A, 0x173, -1, Parity::Odd},
          {0x218, 0x21B, -1, Parity::Odd},
          {0x490, 0x4BF, -1, Parity::Odd},
          {0x4D0, 0x4DF, -1, Parity::Odd},
          {0x179, 0x17E, -1, Parity::Even},
          {0x450, 0x45F, -0x50, Parity::All},
          {0xFF, 0xFF, 0x178 - 0xFF, Parity::All}}},
        {"lower", CStringCore::toLowercase,
         {{0x41, 0x5A, 0x20, Parity::All},
          {0xC0, 0xD7, 0x20, Parity::All}, // 0xD7 maps to 0xF7, 0xD8 and 0xDE stay
          {0xD9, 0xDD, 0x20, Parity::All},
          {0x413, 0x42F, 0x20, Parity::All}, // 0x410..0x412 stay
          {0x100, 0x137, 1, Parity::Even},
          {0x14A, 0x173, 1, Parity::Even},
          {0x218, 0x21B, 1, Parity::Even},
          {0x490, 0x4BF, 1, Parity::Even},
          {0x4D0, 0x4DF, 1, Parity::Even},
          {0x179, 0x17E, 1, Parity::Odd},
          {0x400, 0x40F, 0x50, Parity::All},
          {0x178, 0x178, 0xFF - 0x178, Parity::All}}},
    };
    for (const tagCase& c : cases) {
        const std::vector<char16_t> expected = buildCaseTable(c.ranges);
        std::vector<char16_t> units = allUnits();
        c.map(units.data(), unsigned(units.size()));
        for (unsigned int u = 0; u <= 0xFFFF; ++u)
            ASSERT_EQ(units[u], expected[u]) << c.name << std::hex << " unit 0x" << u;
    }
}

TEST(CStringCore, CaseMappingRespectsLengthAndNull)
{
    char16_t text[] = u"abcd";
    CStringCore::toUppercase(text, 2);
    EXPECT_EQ(std::u16string(text), u"ABcd");
    CStringCore::toLowercase(text, 1);
    EXPECT_EQ(std::u16string(text), u"aBcd");
    CStringCore::toUppercase(nullptr, 4);
    CStringCore::toLowercase(nullptr, 4);
}

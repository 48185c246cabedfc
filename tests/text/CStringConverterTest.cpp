#include <text/CStringConverter.h>

#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

using namespace Trell;

namespace {

using Texts = std::vector<std::u16string>;

std::u16string str(const CString& s)
{
    return s.buffer() == nullptr ? std::u16string() : std::u16string(s.buffer(), s.length());
}

template <typename C>
Texts texts(const C& items)
{
    Texts out;
    for (unsigned int i = 0; i < items.getCount(); ++i)
        out.push_back(str(items[i]));
    return out;
}

const char16_t* const NULL_TEXT = nullptr;
const unsigned char* const NULL_BYTES = nullptr;

// Both unit types share the parsing rules; every case runs through both.
template <typename F>
auto viaBoth(F convert, const char* s)
{
    const std::u16string wide(s, s + std::strlen(s));
    const auto a = convert(wide.c_str());
    EXPECT_EQ(a, convert(reinterpret_cast<const unsigned char*>(s))) << s;
    return a;
}
#define BOTH(fn, s) viaBoth([](auto p) { return CStringConverter::fn(p); }, s)

template <typename T>
std::u16string toStr(T value)
{
    char16_t out[40] = {};
    CStringConverter::toString(value, out);
    return out;
}

std::u16string toStr(float value, unsigned int precision)
{
    char16_t out[40] = {};
    CStringConverter::toString(value, out, precision);
    return out;
}

} // namespace

TEST(CStringConverterNumbers, SignedParsingStopsAtFirstNonDigitSkipsNothingAndWraps)
{
    const std::pair<const char*, int> ints[] = {{"-12ab", -12},
                                                {" 12", 0},
                                                {"+5", 0},
                                                {"007", 7},
                                                {"2147483647", INT_MAX},
                                                {"-2147483648", INT_MIN},
                                                {"2147483648", INT_MIN},
                                                {"4294967297", 1}};
    for (const auto& [text, expected] : ints)
        EXPECT_EQ(BOTH(toInt, text), expected) << text;

    // The last wraps at 64 bits.
    const std::pair<const char*, long long> llongs[] = {
        {"9223372036854775807", LLONG_MAX}, {"-9223372036854775808", LLONG_MIN}, {"18446744073709551617", 1}};
    for (const auto& [text, expected] : llongs)
        EXPECT_EQ(BOTH(toLLong, text), expected) << text;

    // Hexadecimal skips what is not a digit and shifts out at the top; decimal has no sign.
    const std::pair<const char*, unsigned int> uints[] = {
        {"0x1G2", 0x12u}, {"0X", 0u},           {"0XaBcD", 0xABCDu}, {"-12", 0u},       {"12x", 12u},
        {"x12", 0u},      {"0x1FFFFFFFF", ~0u}, {"4294967295", ~0u}, {"4294967296", 0u}};
    for (const auto& [text, expected] : uints)
        EXPECT_EQ(BOTH(toUInt, text), expected) << text;
}

TEST(CStringConverterNumbers, ToFloatAccumulatesDigitsWithoutExponentAndToBoolWantsExactlyTrue)
{
    const std::pair<const char*, float> cases[] = {{"-0.25", -0.25f}, {".5", 0.5f},   {"1e3", 1.0f},
                                                   {"12.5.3", 12.5f}, {"+1.5", 0.0f}, {"123.456", 123.456f}};
    for (const auto& [text, expected] : cases)
        EXPECT_FLOAT_EQ(BOTH(toFloat, text), expected) << text;

    // digit / divisor per fraction digit, kept in double, rounded once.
    double expected = 0.0;
    for (double divisor = 10.0; divisor < 1e13; divisor *= 10.0)
        expected += 1.0 / divisor;
    EXPECT_EQ(BOTH(toFloat, "0.111111111111"), static_cast<float>(expected));

    EXPECT_TRUE(BOTH(toBool, "true"));
    for (const char* no : {"True", " true", "true ", "tru", ""})
        EXPECT_FALSE(BOTH(toBool, no)) << no;
    EXPECT_EQ(CStringConverter::toInt(NULL_TEXT) | CStringConverter::toInt(NULL_BYTES), 0);
    EXPECT_EQ(CStringConverter::toLLong(NULL_TEXT) | CStringConverter::toLLong(NULL_BYTES), 0);
    EXPECT_EQ(CStringConverter::toUInt(NULL_TEXT) | CStringConverter::toUInt(NULL_BYTES), 0u);
    EXPECT_EQ(CStringConverter::toFloat(NULL_TEXT) + CStringConverter::toFloat(NULL_BYTES), 0.0f);
    EXPECT_FALSE(CStringConverter::toBool(NULL_TEXT) || CStringConverter::toBool(NULL_BYTES));
}

// The extremes of int, unsigned int, long long and bool are pinned through CString's constructors.
TEST(CStringConverterNumbers, ToStringWritesNoTerminatorAndFloatsRoundWithinTheirPrecision)
{
    EXPECT_EQ(toStr(INT_MAX) + u" " + toStr(LLONG_MAX) + u" " + toStr(1000000LL) + u" " + toStr(0LL),
              u"2147483647 9223372036854775807 1000000 0");
    char16_t out[40];
    std::fill(std::begin(out), std::end(out), u'#');
    EXPECT_EQ(CStringConverter::toString(-120, out), 4u);
    EXPECT_EQ(std::u16string(out, 5), u"-120#");

    // Round-half-even of the exact binary value; at most 32 units.
    EXPECT_EQ(toStr(1.5f, 4) + u" " + toStr(-2.25f, 1) + u" " + toStr(3.75f, 0), u"1.5000 -2.2 4");
    EXPECT_EQ(toStr(0.1f, 10), u"0.1000000015");
    std::fill(std::begin(out), std::end(out), u'#');
    EXPECT_EQ(CStringConverter::toString(1e30f, out, 10), 31u);
    EXPECT_EQ(std::u16string(out, 33), std::u16string(u"1000000015047466219876688855040\0#", 33));
}

TEST(CStringConverterUTF16, WholeUnitsZeroFillAndNullCases)
{
    // Room for two units of six (no terminator); the odd byte is only zero-filled.
    unsigned char out[6] = {1, 2, 3, 4, 5, 6};
    CStringConverter::convertToUTF16(CString(u"abcdef"), out, 5);
    EXPECT_EQ(std::vector<unsigned char>(out, out + 6), (std::vector<unsigned char>{'a', 0, 'b', 0, 0, 6}));
    CStringConverter::convertToUTF16(NULL_TEXT, out, 4);
    CStringConverter::convertToUTF16(u"a", out + 4, 0);
    CStringConverter::convertToUTF16(u"a", nullptr, 4);
    EXPECT_EQ(std::vector<unsigned char>(out, out + 6), (std::vector<unsigned char>{0, 0, 0, 0, 0, 6}));

    const char16_t units[] = {u'x', 0x4E2D, u'y'};
    unsigned char raw[7];
    std::memcpy(raw, units, 6);
    raw[6] = 0x41; // odd last byte ignored
    CString s;
    CStringConverter::convertFromUTF16(raw, 7, s);
    EXPECT_EQ(str(s), std::u16string(u"x\u4E2Dy"));
    s = u"old";
    CStringConverter::convertFromUTF16(nullptr, 4, s);
    CStringConverter::convertFromUTF16(raw, 0, s);
    EXPECT_EQ(str(s), u"old");
    CStringConverter::convertFromUTF16(raw, 1, s); // no whole unit: empty, not null
    EXPECT_TRUE(!s.isEmpty() && s.length() == 0u);
}

TEST(CStringConverterLists, SeparateStringHonoursEmptyPieceFlags)
{
    struct tagCase
    {
        const char16_t* text;
        bool keepFirst;
        bool keepLast;
        Texts expected;
    };
    const tagCase cases[] = {{u",a,,b,", false, false, {u"a", u"", u"b"}},
                             {u",a,,b,", true, true, {u"", u"a", u"", u"b", u""}},
                             {u",a,", true, false, {u"", u"a"}},
                             {u",", true, true, {u"", u""}},
                             {u",", false, false, {}},
                             {u"abc", false, false, {u"abc"}},
                             {u"", true, true, {}},
                             {nullptr, true, true, {}}};
    for (const tagCase& c : cases) {
        SCOPED_TRACE(testing::Message() << (c.text ? std::u16string(c.text).size() : 99u) << c.keepFirst << c.keepLast);
        CDataArray<CString> items;
        CStringConverter::separateString(CString(c.text), u',', items, c.keepFirst, c.keepLast);
        EXPECT_EQ(texts(items), c.expected);
        for (unsigned int i = 0; i < items.getCount(); ++i)
            EXPECT_FALSE(items[i].isEmpty()); // an empty piece is an empty string, not a null one
    }
}

TEST(CStringConverterLists, OtherContainersSeparatorsAndMerging)
{
    // Items are appended without clearing; a hexadecimal piece must not read
    // on into the next pieces.
    CDataList<CString> list;
    list.add(CString(u"keep"));
    CStringConverter::separateString(CString(u"x;;y;"), u';', list, false, true);
    CDataArray<unsigned int> numbers;
    numbers.add(99u);
    CStringConverter::separateString(CString(u"0x1F,12,,0x2,7a"), u',', numbers);
    EXPECT_EQ(std::vector<unsigned int>(numbers.begin(), numbers.end()),
              (std::vector<unsigned int>{99u, 0x1Fu, 12u, 0u, 2u, 7u}));

    CDataArray<char16_t> separators;
    for (char16_t c : {u',', u';', u' '})
        separators.add(c);
    CDataArray<CString> items;
    CStringConverter::split(CString(u";a,b c;;d;"), separators, items, true, true);
    EXPECT_EQ(texts(items), (Texts{u"", u"a", u"b", u"c", u"", u"d", u""}));
    CDataArray<CString> whole;
    CStringConverter::split(CString(u"a,b"), CDataArray<char16_t>(), whole);
    EXPECT_EQ(texts(whole), (Texts{u"a,b"}));

    // Merging writes null items as empty ones and numbers in decimal.
    CString out(u"old");
    CStringConverter::mergeString(CDataArray<CString>(), u';', out);
    EXPECT_TRUE(out.length() == 0u && !out.isEmpty());
    whole.add(CString());
    CStringConverter::mergeString(whole, u';', out);
    EXPECT_EQ(str(out), u"a,b;");
    CStringConverter::mergeString(list, u'|', out);
    EXPECT_EQ(str(out), u"keep|x||y|");
    numbers.add(4294967295u);
    CStringConverter::mergeString(numbers, u',', out);
    EXPECT_EQ(str(out), u"99,31,12,0,2,7,4294967295");
}

namespace {

const char16_t s_chars[] = {u'&', u'<', u'>', u'x'};
const char16_t* const s_replacements[] = {u"&amp;", u"&lt;", u"&gt;", u""};
const unsigned int s_lengths[] = {5, 4, 4, 0};

} // namespace

TEST(CStringConverterEscape, EncodeReplacesDeletesAndDecodeInvertsWithTheFirstEntryWinning)
{
    CString out;
    CStringConverter::encodeChars(CString(u"a<x>&b"), 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_TRUE(str(out) == u"a&lt;&gt;&amp;b" && out.length() == 15u);

    // Counted: the length bounds the input, not a terminator.
    CStringConverter::encodeChars(u"<<<", 2, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"&lt;&lt;");

    // The first table entry wins; decoding needs whole, case-exact replacements.
    const char16_t chars[] = {u'a', u'a'};
    const char16_t* const repl[] = {u"1", u"2"};
    const unsigned int lengths[] = {1, 1};
    CStringConverter::encodeChars(u"aa", 2, 2, chars, repl, lengths, out);
    EXPECT_EQ(str(out), u"11");
    const char16_t back[] = {u'x', u'y'};
    const char16_t* const prefixes[] = {u"ab", u"abc"};
    const unsigned int plen[] = {2, 3};
    CStringConverter::decodeChars(u"abcab", 5, 2, back, prefixes, plen, out);
    EXPECT_EQ(str(out), u"xcx");

    CStringConverter::decodeChars(CString(u"&LT;&lt;&lt&amp;"), 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"&LT;<&lt&");
    // A replacement running past the counted length does not match.
    CStringConverter::decodeChars(u"a&am", 4, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"a&am");
}

TEST(CStringConverterEscape, EmptyAndNullInputs)
{
    CString out(u"old");
    CStringConverter::encodeChars(u"", 0, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_TRUE(!out.isEmpty() && out.length() == 0u);
    CStringConverter::encodeChars(NULL_TEXT, 3, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_TRUE(out.isEmpty());
    out = u"old";
    CStringConverter::decodeChars(NULL_TEXT, 3, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_TRUE(out.isEmpty());
    // A table with any part missing counts as no table: a plain copy both ways.
    const char16_t* const* noReplacements = nullptr;
    const std::tuple<unsigned int, const char16_t*, const char16_t* const*, const unsigned int*> tables[] = {
        {4, nullptr, s_replacements, s_lengths},
        {4, s_chars, noReplacements, s_lengths},
        {4, s_chars, s_replacements, nullptr}};
    for (const auto& [count, chars, replacements, lengths] : tables) {
        CStringConverter::decodeChars(u"&lt;x", 5, count, chars, replacements, lengths, out);
        EXPECT_EQ(str(out), u"&lt;x");
        CStringConverter::encodeChars(u"<x", 2, count, chars, replacements, lengths, out);
        EXPECT_EQ(str(out), u"<x");
    }
}

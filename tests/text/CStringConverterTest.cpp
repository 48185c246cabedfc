#include <text/CStringConverter.h>

#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

using namespace Trell;

namespace {

std::u16string str(const CString& s)
{
    return s.buffer() == nullptr ? std::u16string() : std::u16string(s.buffer(), s.length());
}

const unsigned char* bytes(const char* s)
{
    return reinterpret_cast<const unsigned char*>(s);
}

const char16_t* const NULL_TEXT = nullptr;
const unsigned char* const NULL_BYTES = nullptr;

// Both unit types share the parsing rules; every case runs through both.
int toIntBoth(const char* s)
{
    std::u16string wide(s, s + std::strlen(s));
    const int a = CStringConverter::toInt(wide.c_str());
    const int b = CStringConverter::toInt(bytes(s));
    EXPECT_EQ(a, b) << s;
    return a;
}

unsigned int toUIntBoth(const char* s)
{
    std::u16string wide(s, s + std::strlen(s));
    const unsigned int a = CStringConverter::toUInt(wide.c_str());
    const unsigned int b = CStringConverter::toUInt(bytes(s));
    EXPECT_EQ(a, b) << s;
    return a;
}

long long toLLongBoth(const char* s)
{
    std::u16string wide(s, s + std::strlen(s));
    const long long a = CStringConverter::toLLong(wide.c_str());
    const long long b = CStringConverter::toLLong(bytes(s));
    EXPECT_EQ(a, b) << s;
    return a;
}

float toFloatBoth(const char* s)
{
    std::u16string wide(s, s + std::strlen(s));
    const float a = CStringConverter::toFloat(wide.c_str());
    const float b = CStringConverter::toFloat(bytes(s));
    EXPECT_EQ(a, b) << s;
    return a;
}

bool toBoolBoth(const char* s)
{
    std::u16string wide(s, s + std::strlen(s));
    const bool a = CStringConverter::toBool(wide.c_str());
    const bool b = CStringConverter::toBool(bytes(s));
    EXPECT_EQ(a, b) << s;
    return a;
}

} // namespace

// ---- numbers from text ----------------------------------------------------------

TEST(CStringConverterNumbers, ToIntStopsAtFirstNonDigitAndSkipsNothing)
{
    EXPECT_EQ(toIntBoth("-12ab"), -12);
    EXPECT_EQ(toIntBoth(" 12"), 0);
    EXPECT_EQ(toIntBoth("+5"), 0);
    EXPECT_EQ(toIntBoth("--5"), 0);
    EXPECT_EQ(toIntBoth("-"), 0);
    EXPECT_EQ(toIntBoth(""), 0);
    EXPECT_EQ(toIntBoth("007"), 7);
    EXPECT_EQ(toIntBoth("12 34"), 12);
    EXPECT_EQ(toIntBoth("2147483647"), INT_MAX);
    EXPECT_EQ(toIntBoth("-2147483648"), INT_MIN);
    EXPECT_EQ(CStringConverter::toInt(NULL_TEXT), 0);
    EXPECT_EQ(CStringConverter::toInt(NULL_BYTES), 0);
}

TEST(CStringConverterNumbers, ToIntWrapsOnOverflow)
{
    EXPECT_EQ(toIntBoth("2147483648"), INT_MIN);
    EXPECT_EQ(toIntBoth("4294967297"), 1);
    EXPECT_EQ(toLLongBoth("18446744073709551617"), 1);
}

TEST(CStringConverterNumbers, ToLLongKeepsSixtyFourBits)
{
    EXPECT_EQ(toLLongBoth("9223372036854775807"), LLONG_MAX);
    EXPECT_EQ(toLLongBoth("-9223372036854775808"), LLONG_MIN);
    EXPECT_EQ(toLLongBoth("-12x"), -12);
    EXPECT_EQ(toLLongBoth("+1"), 0);
    EXPECT_EQ(CStringConverter::toLLong(NULL_TEXT), 0);
}

TEST(CStringConverterNumbers, ToUIntHexSkipsInvalidCharacters)
{
    EXPECT_EQ(toUIntBoth("0x1G2"), 0x12u);
    EXPECT_EQ(toUIntBoth("0X"), 0u);
    EXPECT_EQ(toUIntBoth("0xff"), 0xFFu);
    EXPECT_EQ(toUIntBoth("0XaBcD"), 0xABCDu);
    EXPECT_EQ(toUIntBoth("0x 12 34"), 0x1234u);
    EXPECT_EQ(toUIntBoth("0xFFFFFFFF"), 0xFFFFFFFFu);
    EXPECT_EQ(toUIntBoth("0x1FFFFFFFF"), 0xFFFFFFFFu); // shifted out at the top
}

TEST(CStringConverterNumbers, ToUIntDecimalHasNoSign)
{
    EXPECT_EQ(toUIntBoth("12"), 12u);
    EXPECT_EQ(toUIntBoth("-12"), 0u);
    EXPECT_EQ(toUIntBoth("12x"), 12u);
    EXPECT_EQ(toUIntBoth("4294967295"), 4294967295u);
    EXPECT_EQ(toUIntBoth("4294967296"), 0u);
    EXPECT_EQ(toUIntBoth("x12"), 0u);
    EXPECT_EQ(CStringConverter::toUInt(NULL_TEXT), 0u);
    EXPECT_EQ(CStringConverter::toUInt(NULL_BYTES), 0u);
}

TEST(CStringConverterNumbers, ToFloatAccumulatesDigitsWithoutExponent)
{
    EXPECT_FLOAT_EQ(toFloatBoth("-0.25"), -0.25f);
    EXPECT_FLOAT_EQ(toFloatBoth(".5"), 0.5f);
    EXPECT_FLOAT_EQ(toFloatBoth("1e3"), 1.0f);
    EXPECT_FLOAT_EQ(toFloatBoth("3."), 3.0f);
    EXPECT_FLOAT_EQ(toFloatBoth("12.5.3"), 12.5f);
    EXPECT_FLOAT_EQ(toFloatBoth("-"), 0.0f);
    EXPECT_FLOAT_EQ(toFloatBoth("+1.5"), 0.0f);
    EXPECT_FLOAT_EQ(toFloatBoth(" 1.5"), 0.0f);
    EXPECT_FLOAT_EQ(toFloatBoth("inf"), 0.0f);
    EXPECT_FLOAT_EQ(toFloatBoth("123.456"), 123.456f);
    EXPECT_EQ(CStringConverter::toFloat(NULL_TEXT), 0.0f);
    EXPECT_EQ(CStringConverter::toFloat(NULL_BYTES), 0.0f);
}

TEST(CStringConverterNumbers, ToFloatSumsInDoublePrecision)
{
    // digit / divisor per fraction digit, kept in double, rounded once.
    double expected = 0.0;
    double divisor = 10.0;
    for (int i = 0; i < 12; ++i) {
        expected += 1.0 / divisor;
        divisor *= 10.0;
    }
    EXPECT_EQ(toFloatBoth("0.111111111111"), static_cast<float>(expected));
}

TEST(CStringConverterNumbers, ToBoolOnlyExactLowerCaseTrue)
{
    EXPECT_TRUE(toBoolBoth("true"));
    EXPECT_FALSE(toBoolBoth("True"));
    EXPECT_FALSE(toBoolBoth("TRUE"));
    EXPECT_FALSE(toBoolBoth(" true"));
    EXPECT_FALSE(toBoolBoth("true "));
    EXPECT_FALSE(toBoolBoth("tru"));
    EXPECT_FALSE(toBoolBoth("1"));
    EXPECT_FALSE(toBoolBoth(""));
    EXPECT_FALSE(CStringConverter::toBool(NULL_TEXT));
    EXPECT_FALSE(CStringConverter::toBool(NULL_BYTES));
}

// ---- numbers to text -------------------------------------------------------------

TEST(CStringConverterNumbers, ToStringIntegersWriteNoTerminator)
{
    char16_t out[32];
    for (char16_t& c : out) {
        c = u'#';
    }
    EXPECT_EQ(CStringConverter::toString(-120, out), 4u);
    EXPECT_EQ(std::u16string(out, 5), u"-120#");

    char16_t z[24] = {};
    CStringConverter::toString(0, z);
    EXPECT_EQ(std::u16string(z), u"0");
}

TEST(CStringConverterNumbers, ToStringCoversWholeRanges)
{
    struct tagCase
    {
        long long value;
        const char16_t* text;
    };
    {
        char16_t out[24] = {};
        CStringConverter::toString(INT_MIN, out);
        EXPECT_EQ(std::u16string(out), u"-2147483648");
    }
    {
        char16_t out[24] = {};
        CStringConverter::toString(INT_MAX, out);
        EXPECT_EQ(std::u16string(out), u"2147483647");
    }
    {
        char16_t out[24] = {};
        CStringConverter::toString(4294967295u, out);
        EXPECT_EQ(std::u16string(out), u"4294967295");
    }
    {
        char16_t out[24] = {};
        CStringConverter::toString(0u, out);
        EXPECT_EQ(std::u16string(out), u"0");
    }
    const tagCase cases[] = {{LLONG_MIN, u"-9223372036854775808"}, {LLONG_MAX, u"9223372036854775807"},
                             {0, u"0"}, {-1, u"-1"}, {1000000, u"1000000"}};
    for (const tagCase& c : cases) {
        char16_t out[24] = {};
        CStringConverter::toString(c.value, out);
        EXPECT_EQ(std::u16string(out), c.text);
    }
}

TEST(CStringConverterNumbers, ToStringFloatUsesPrecision)
{
    char16_t out[32] = {};
    CStringConverter::toString(1.5f, out, 4);
    EXPECT_EQ(std::u16string(out), u"1.5000");
    char16_t a[32] = {};
    CStringConverter::toString(-2.25f, a, 1);
    EXPECT_EQ(std::u16string(a), u"-2.2"); // round-half-even of the exact binary value
    char16_t b[32] = {};
    CStringConverter::toString(3.75f, b, 0);
    EXPECT_EQ(std::u16string(b), u"4");
    char16_t c[32] = {};
    CStringConverter::toString(0.1f, c, 10);
    EXPECT_EQ(std::u16string(c), u"0.1000000015");
}

TEST(CStringConverterNumbers, ToStringFloatIsLimitedTo32Units)
{
    char16_t out[40];
    for (char16_t& c : out) {
        c = u'#';
    }
    const unsigned int n = CStringConverter::toString(1e30f, out, 10);
    EXPECT_EQ(n, 31u);
    EXPECT_EQ(out[31], 0);
    EXPECT_EQ(out[32], u'#');
    EXPECT_EQ(std::u16string(out, 5), u"10000");
}

TEST(CStringConverterNumbers, ToStringBool)
{
    char16_t t[8] = {};
    char16_t f[8] = {};
    CStringConverter::toString(true, t);
    CStringConverter::toString(false, f);
    EXPECT_EQ(std::u16string(t), u"true");
    EXPECT_EQ(std::u16string(f), u"false");
}

// ---- UTF-16 byte buffers ------------------------------------------------------------

TEST(CStringConverterUTF16, ToUTF16ZeroFillsAndCopiesWholeUnits)
{
    unsigned char out[9];
    std::memset(out, 0xAA, sizeof(out));
    CStringConverter::convertToUTF16(u"ab", out, 9);
    char16_t units[2];
    std::memcpy(units, out, 4);
    EXPECT_EQ(units[0], u'a');
    EXPECT_EQ(units[1], u'b');
    for (int i = 4; i < 9; ++i) {
        EXPECT_EQ(out[i], 0) << i;
    }
}

TEST(CStringConverterUTF16, ToUTF16FullBufferHasNoTerminator)
{
    unsigned char out[5];
    std::memset(out, 0xAA, sizeof(out));
    CStringConverter::convertToUTF16(CString(u"abcdef"), out, 5); // room for two units
    char16_t units[2];
    std::memcpy(units, out, 4);
    EXPECT_EQ(units[0], u'a');
    EXPECT_EQ(units[1], u'b');
    EXPECT_EQ(out[4], 0); // the odd byte is only zero-filled
}

TEST(CStringConverterUTF16, ToUTF16NullCases)
{
    unsigned char out[4] = {1, 2, 3, 4};
    CStringConverter::convertToUTF16(NULL_TEXT, out, 4);
    EXPECT_EQ(out[0] | out[1] | out[2] | out[3], 0);
    unsigned char keep[2] = {7, 7};
    CStringConverter::convertToUTF16(u"a", keep, 0);
    EXPECT_EQ(keep[0], 7);
    CStringConverter::convertToUTF16(u"a", nullptr, 4); // must not crash
}

TEST(CStringConverterUTF16, FromUTF16TakesHalfTheBytes)
{
    const char16_t units[] = {u'x', 0x4E2D, u'y'};
    unsigned char raw[7];
    std::memcpy(raw, units, 6);
    raw[6] = 0x41; // odd last byte ignored
    CString out;
    CStringConverter::convertFromUTF16(raw, 7, out);
    EXPECT_EQ(str(out), std::u16string(u"x\u4E2Dy"));
    EXPECT_EQ(out.length(), 3u);
}

TEST(CStringConverterUTF16, FromUTF16NullOrZeroKeepsOldValue)
{
    CString out(u"old");
    CStringConverter::convertFromUTF16(nullptr, 4, out);
    EXPECT_EQ(str(out), u"old");
    const unsigned char raw[2] = {0x41, 0};
    CStringConverter::convertFromUTF16(raw, 0, out);
    EXPECT_EQ(str(out), u"old");
    CStringConverter::convertFromUTF16(raw, 1, out); // no whole unit: empty, not null
    EXPECT_FALSE(out.isEmpty());
    EXPECT_EQ(out.length(), 0u);
}

// ---- lists ---------------------------------------------------------------------

TEST(CStringConverterLists, SeparateStringKeepsInnerEmptiesAndHonoursFlags)
{
    CDataArray<CString> plain;
    CStringConverter::separateString(CString(u",a,,b,"), u',', plain, false, false);
    ASSERT_EQ(plain.getCount(), 3u);
    EXPECT_EQ(str(plain[0]), u"a");
    EXPECT_EQ(str(plain[1]), u"");
    EXPECT_FALSE(plain[1].isEmpty()); // an empty piece is an empty string, not a null one
    EXPECT_EQ(str(plain[2]), u"b");

    CDataArray<CString> kept;
    CStringConverter::separateString(CString(u",a,,b,"), u',', kept, true, true);
    ASSERT_EQ(kept.getCount(), 5u);
    const char16_t* expected[] = {u"", u"a", u"", u"b", u""};
    for (unsigned int i = 0; i < 5; ++i) {
        EXPECT_EQ(str(kept[i]), expected[i]) << i;
    }
}

TEST(CStringConverterLists, SeparateStringEdgeTexts)
{
    CDataArray<CString> items;
    CStringConverter::separateString(CString(), u',', items, true, true);
    CStringConverter::separateString(CString(u""), u',', items, true, true);
    EXPECT_EQ(items.getCount(), 0u);

    CStringConverter::separateString(CString(u"abc"), u',', items);
    ASSERT_EQ(items.getCount(), 1u);
    EXPECT_EQ(str(items[0]), u"abc");

    CDataArray<CString> lone;
    CStringConverter::separateString(CString(u","), u',', lone, true, true);
    ASSERT_EQ(lone.getCount(), 2u);
    CDataArray<CString> loneNone;
    CStringConverter::separateString(CString(u","), u',', loneNone, false, false);
    EXPECT_EQ(loneNone.getCount(), 0u);

    CDataArray<CString> onlyFirst;
    CStringConverter::separateString(CString(u",a,"), u',', onlyFirst, true, false);
    ASSERT_EQ(onlyFirst.getCount(), 2u);
    EXPECT_EQ(str(onlyFirst[0]), u"");
    EXPECT_EQ(str(onlyFirst[1]), u"a");
}

TEST(CStringConverterLists, SeparateStringAppendsWithoutClearing)
{
    CDataArray<CString> items;
    items.add(CString(u"keep"));
    CStringConverter::separateString(CString(u"x;y"), u';', items);
    ASSERT_EQ(items.getCount(), 3u);
    EXPECT_EQ(str(items[0]), u"keep");
    EXPECT_EQ(str(items[2]), u"y");

    CDataList<CString> list;
    list.add(CString(u"keep"));
    CStringConverter::separateString(CString(u"x;;y;"), u';', list, false, true);
    ASSERT_EQ(list.getCount(), 5u);
    EXPECT_EQ(str(list[0]), u"keep");
    EXPECT_EQ(str(list[1]), u"x");
    EXPECT_EQ(str(list[2]), u"");
    EXPECT_EQ(str(list[3]), u"y");
    EXPECT_EQ(str(list[4]), u"");
}

TEST(CStringConverterLists, SeparateNumbersParsesEachPieceOnItsOwn)
{
    CDataArray<unsigned int> numbers;
    numbers.add(99u);
    // A hexadecimal piece must not read on into the next pieces.
    CStringConverter::separateString(CString(u"0x1F,12,,0x2,7a"), u',', numbers);
    ASSERT_EQ(numbers.getCount(), 6u);
    EXPECT_EQ(numbers[0], 99u);
    EXPECT_EQ(numbers[1], 0x1Fu);
    EXPECT_EQ(numbers[2], 12u);
    EXPECT_EQ(numbers[3], 0u);
    EXPECT_EQ(numbers[4], 2u);
    EXPECT_EQ(numbers[5], 7u);
}

TEST(CStringConverterLists, SplitOnAnyOfSeveralSeparators)
{
    CDataArray<char16_t> separators;
    separators.add(u',');
    separators.add(u';');
    separators.add(u' ');
    CDataArray<CString> items;
    CStringConverter::split(CString(u";a,b c;;d;"), separators, items, true, true);
    const char16_t* expected[] = {u"", u"a", u"b", u"c", u"", u"d", u""};
    ASSERT_EQ(items.getCount(), 7u);
    for (unsigned int i = 0; i < 7; ++i) {
        EXPECT_EQ(str(items[i]), expected[i]) << i;
    }

    CDataArray<char16_t> none;
    CDataArray<CString> whole;
    CStringConverter::split(CString(u"a,b"), none, whole);
    ASSERT_EQ(whole.getCount(), 1u);
    EXPECT_EQ(str(whole[0]), u"a,b");
}

TEST(CStringConverterLists, MergeStringJoinsWithOneSeparator)
{
    CDataArray<CString> items;
    CString out(u"old");
    CStringConverter::mergeString(items, u';', out);
    EXPECT_EQ(out.length(), 0u);
    EXPECT_FALSE(out.isEmpty());

    items.add(CString(u"a"));
    CStringConverter::mergeString(items, u';', out);
    EXPECT_EQ(str(out), u"a");
    items.add(CString(u"b"));
    CStringConverter::mergeString(items, u';', out);
    EXPECT_EQ(str(out), u"a;b");
    items.add(CString());
    items.add(CString(u""));
    items.add(CString(u"cd"));
    CStringConverter::mergeString(items, u';', out);
    EXPECT_EQ(str(out), u"a;b;;;cd");
    EXPECT_EQ(out.length(), 8u);

    CDataList<CString> list;
    list.add(CString(u"x"));
    list.add(CString(u"yz"));
    CStringConverter::mergeString(list, u'|', out);
    EXPECT_EQ(str(out), u"x|yz");
}

TEST(CStringConverterLists, MergeNumbersInDecimalRoundTrips)
{
    CDataArray<unsigned int> numbers;
    numbers.add(0u);
    numbers.add(4294967295u);
    numbers.add(42u);
    CString out;
    CStringConverter::mergeString(numbers, u',', out);
    EXPECT_EQ(str(out), u"0,4294967295,42");

    CDataArray<unsigned int> back;
    CStringConverter::separateString(out, u',', back);
    ASSERT_EQ(back.getCount(), 3u);
    EXPECT_EQ(back[1], 4294967295u);
}

// ---- character escaping -----------------------------------------------------------

namespace {

const char16_t s_chars[] = {u'&', u'<', u'>', u'x'};
const char16_t* const s_replacements[] = {u"&amp;", u"&lt;", u"&gt;", u""};
const unsigned int s_lengths[] = {5, 4, 4, 0};

} // namespace

TEST(CStringConverterEscape, EncodeReplacesAndDeletes)
{
    CString out;
    const CString text(u"a<x>&b");
    CStringConverter::encodeChars(text, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"a&lt;&gt;&amp;b");
    EXPECT_EQ(out.length(), 15u);

    // Counted: the length bounds the input, not a terminator.
    CStringConverter::encodeChars(u"<<<", 2, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"&lt;&lt;");
}

TEST(CStringConverterEscape, FirstTableEntryWins)
{
    const char16_t chars[] = {u'a', u'a'};
    const char16_t* const repl[] = {u"1", u"2"};
    const unsigned int lengths[] = {1, 1};
    CString out;
    CStringConverter::encodeChars(u"aa", 2, 2, chars, repl, lengths, out);
    EXPECT_EQ(str(out), u"11");

    const char16_t back[] = {u'x', u'y'};
    const char16_t* const prefixes[] = {u"ab", u"abc"};
    const unsigned int plen[] = {2, 3};
    CStringConverter::decodeChars(u"abcab", 5, 2, back, prefixes, plen, out);
    EXPECT_EQ(str(out), u"xcx");
}

TEST(CStringConverterEscape, DecodeIsCaseSensitiveAndNeedsWholeReplacement)
{
    CString out;
    CStringConverter::decodeChars(CString(u"&LT;&lt;&lt&amp;"), 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"&LT;<&lt&");

    // A replacement running past the counted length does not match.
    CStringConverter::decodeChars(u"a&am", 4, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_EQ(str(out), u"a&am");
}

TEST(CStringConverterEscape, DecodeInvertsEncode)
{
    const CString text(u"if (a < b && c > d) <tag>");
    CString encoded;
    CString decoded;
    CStringConverter::encodeChars(text, 3, s_chars, s_replacements, s_lengths, encoded);
    CStringConverter::decodeChars(encoded, 3, s_chars, s_replacements, s_lengths, decoded);
    EXPECT_EQ(str(decoded), str(text));
}

TEST(CStringConverterEscape, EmptyAndNullInputs)
{
    CString out(u"old");
    CStringConverter::encodeChars(u"", 0, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_FALSE(out.isEmpty());
    EXPECT_EQ(out.length(), 0u);
    CStringConverter::encodeChars(NULL_TEXT, 3, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_TRUE(out.isEmpty());
    CStringConverter::decodeChars(NULL_TEXT, 3, 4, s_chars, s_replacements, s_lengths, out);
    EXPECT_TRUE(out.isEmpty());
    // No table: a plain copy.
    CStringConverter::decodeChars(u"abc", 3, 0, nullptr, nullptr, nullptr, out);
    EXPECT_EQ(str(out), u"abc");
}

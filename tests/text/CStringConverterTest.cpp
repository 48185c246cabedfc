#include <text/CStringConverter.h>

#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#ifndef _WIN32 // the reference for the GBK table is glibc's iconv
#include <iconv.h>
#endif

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

const char16_t s_chars[] = {u'&', u'<', u'>', u'x'};
const char16_t* const s_replacements[] = {u"&amp;", u"&lt;", u"&gt;", u""};
const unsigned int s_lengths[] = {5, 4, 4, 0};

std::u16string decode(const std::string& utf8)
{
    CString out;
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(utf8.c_str()), out);
    return str(out);
}

std::string encode(const std::u16string& text, unsigned int size, unsigned int* written = nullptr)
{
    std::vector<unsigned char> out(size + 1, 0xEE);
    CStringConverter::convertToUTF8(text.c_str(), out.data(), size, written);
    EXPECT_EQ(out[size], 0xEE) << "wrote past the buffer";
    return std::string(reinterpret_cast<const char*>(out.data()));
}

// The decoding rules written out one byte at a time, as the reference for the vectorised decoder.
std::u16string referenceDecode(const unsigned char* b)
{
    std::u16string out;
    for (unsigned int c = *b; c != 0; c = *b) {
        if (c >= 0xE0) {
            if (b[1] == 0 || b[2] == 0)
                break;
            out.push_back(char16_t(((c << 12) | ((b[1] & 0x3Fu) << 6) | (b[2] & 0x3Fu)) & 0xFFFF));
            b += 3;
        } else if (c >= 0xC0) {
            if (b[1] == 0)
                break;
            out.push_back(char16_t(((c & 0x1Fu) << 6) | (b[1] & 0x3Fu)));
            b += 2;
        } else {
            if (c < 0x80)
                out.push_back(char16_t(c));
            b += 1;
        }
    }
    return out;
}

std::string referenceEncode(const std::u16string& text, unsigned int size)
{
    std::string out;
    for (const unsigned int c : text) {
        std::string seq;
        if (c < 0x80) {
            seq = {char(c)};
        } else if (c < 0x800) {
            seq = {char(0xC0 | (c >> 6)), char(0x80 | (c & 0x3F))};
        } else {
            seq = {char(0xE0 | (c >> 12)), char(0x80 | ((c >> 6) & 0x3F)), char(0x80 | (c & 0x3F))};
        }
        if (out.size() + seq.size() > size - 1)
            break;
        out += seq;
    }
    return out;
}

std::u16string gbkDecode(const std::string& bytes)
{
    CString out;
    CStringConverter::convertFromMBCS(bytes.c_str(), out);
    return str(out);
}

// The whole buffer of size bytes (at most 8), so that the zero fill shows.
std::string gbkEncode(const std::u16string& text, unsigned int size = 8)
{
    char out[8];
    std::memset(out, 'x', sizeof(out));
    CStringConverter::convertToMBCS(text.c_str(), out, size);
    EXPECT_TRUE(size == 8 || out[size] == 'x') << "wrote past the buffer";
    return std::string(out, size);
}

std::u16string widen(const std::string& s)
{
    std::u16string out;
    for (char c : s)
        out.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    return out;
}

// Formats the same conversion with snprintf and with the library, and
// compares the texts unit for unit.
template <typename... Args>
void expectSameAsSnprintf(const std::string& cFormat, Args... args)
{
    const int n = std::snprintf(nullptr, 0, cFormat.c_str(), args...);
    ASSERT_GE(n, 0) << cFormat;
    std::string expected(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(expected.data(), expected.size(), cFormat.c_str(), args...);
    expected.resize(static_cast<std::size_t>(n));
    const std::u16string wideFormat = widen(cFormat);
    const CString got = CStringConverter::format(wideFormat.c_str(), args...);
    ASSERT_EQ(str(got), widen(expected)) << "format \"" << cFormat << "\"";
    ASSERT_EQ(got.length(), static_cast<unsigned int>(n));
}

} // namespace

TEST(CStringConverterNumbers, SignedParsingStopsAtFirstNonDigitSkipsNothingAndWraps)
{
    const std::pair<const char*, int> ints[] = {{"-12ab", -12}, {" 12", 0}, {"+5", 0}, {"", 0}, {"007", 7}};
    for (const auto& [text, expected] : ints)
        EXPECT_EQ(BOTH(toInt, text), expected) << text;
    const std::pair<const char*, int> intLimits[] = {
        {"2147483647", INT_MAX}, {"-2147483648", INT_MIN}, {"2147483648", INT_MIN}, {"4294967297", 1}};
    for (const auto& [text, expected] : intLimits)
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

    const unsigned char raw[7] = {'x', 0, 0x2D, 0x4E, 'y', 0, 0x41}; // the odd last byte is ignored
    CString s;
    CStringConverter::convertFromUTF16(raw, 7, s);
    EXPECT_EQ(str(s), std::u16string(u"x\u4E2Dy"));
    s = u"old";
    CStringConverter::convertFromUTF16(nullptr, 4, s);
    CStringConverter::convertFromUTF16(raw, 0, s);
    EXPECT_EQ(str(s), u"old");                     // unchanged
    CStringConverter::convertFromUTF16(raw, 1, s); // no whole unit: empty, not null
    EXPECT_TRUE(!s.isEmpty() && s.length() == 0u);
}

TEST(CStringConverterLists, SeparateStringHonoursEmptyPieceFlags)
{
    // Text, whether an empty first and an empty last piece are kept, the pieces.
    const std::tuple<const char16_t*, bool, bool, Texts> cases[] = {
        {u",a,,b,", false, false, {u"a", u"", u"b"}},
        {u",a,,b,", true, true, {u"", u"a", u"", u"b", u""}},
        {u",a,", true, false, {u"", u"a"}},
        {u",", true, true, {u"", u""}},
        {u",", false, false, {}},
        {u"abc", false, false, {u"abc"}},
        {u"", true, true, {}},
        {nullptr, true, true, {}}};
    for (const auto& [text, keepFirst, keepLast, expected] : cases) {
        CDataArray<CString> items;
        CStringConverter::separateString(CString(text), u',', items, keepFirst, keepLast);
        EXPECT_EQ(texts(items), expected);
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

TEST(CStringConverterEscape, EncodeReplacesDeletesDecodeInvertsAndMissingTablesCopy)
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

TEST(CStringConverterUTF8, DecoderAgreesWithReferenceOnRandomBytes)
{
    // Biased towards ASCII runs so that the vector path switches in and out at every alignment.
    std::mt19937 rng(12345);
    for (int round = 0; round < 3000; ++round) {
        const std::size_t n = rng() % 81;
        const unsigned int asciiBias = rng() % 101;
        std::string bytes;
        for (std::size_t i = 0; i < n; ++i)
            bytes.push_back(char(rng() % 100 < asciiBias ? 1 + rng() % 0x7F : 0x80 + rng() % 0x80));
        ASSERT_EQ(decode(bytes), referenceDecode(reinterpret_cast<const unsigned char*>(bytes.c_str()))) << round;
    }
}

TEST(CStringConverterUTF8, EncoderAgreesWithReferenceAtEveryBufferSizeAndNullInputsWriteNothing)
{
    // Every buffer size, so that a multi-byte unit meets the limit at each position.
    std::mt19937 rng(777);
    for (int round = 0; round < 2000; ++round) {
        std::u16string text(rng() % 71, u'\0');
        for (char16_t& c : text)
            c = char16_t(rng() % 4 != 0 ? 1 + rng() % 0x7F : 0x80 + rng() % 0xFF80);
        const unsigned int fullSize = unsigned(referenceEncode(text, 1000).size()) + 1;
        for (unsigned int size = 1; size <= fullSize + 1; ++size) {
            unsigned int written = 0;
            const std::string got = encode(text, size, &written);
            ASSERT_EQ(got, referenceEncode(text, size)) << "round " << round << " size " << size;
            ASSERT_EQ(written, got.size());
        }
    }

    unsigned char out[4] = {9, 9, 9, 9};
    unsigned int written = 5, alsoWritten = 5;
    CStringConverter::convertToUTF8(static_cast<const char16_t*>(nullptr), out, 4, &written);
    CStringConverter::convertToUTF8(u"a", out, 0, &alsoWritten);
    CStringConverter::convertToUTF8(u"a", nullptr, 4, &alsoWritten);
    EXPECT_TRUE(written == 0u && alsoWritten == 0u && out[0] == 9); // nothing written, not even a terminator
    CStringConverter::convertToUTF8(CString(u"xyz"), out, 4, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out)), "xyz");

    CString s(u"old");
    CStringConverter::convertFromUTF8(nullptr, s);
    EXPECT_TRUE(s.isEmpty());
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(""), s);
    EXPECT_TRUE(!s.isEmpty() && s.length() == 0u);
}

// Every double-byte code either decodes to one unit that encodes back to the
// same two bytes, or is invalid; GBK has 21791 of them. Where glibc's iconv
// is at hand, it tells which unit each code stands for.
TEST(CodePage, EveryDoubleByteCodeRoundTrips)
{
#ifndef _WIN32
    iconv_t cd = iconv_open("UTF-16LE", "GBK");
    ASSERT_NE(cd, reinterpret_cast<iconv_t>(-1));
#endif
    int valid = 0;
    for (int lead = 0x81; lead <= 0xFE; ++lead) {
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            const std::string bytes{static_cast<char>(lead), static_cast<char>(trail)};
            const std::u16string text = gbkDecode(bytes);
#ifndef _WIN32
            char16_t unit = 0;
            char* in = const_cast<char*>(bytes.data());
            char* out = reinterpret_cast<char*>(&unit);
            std::size_t inLeft = 2, outLeft = 2;
            iconv(cd, nullptr, nullptr, nullptr, nullptr); // a fresh state after an invalid code
            const bool known = iconv(cd, &in, &inLeft, &out, &outLeft) != static_cast<std::size_t>(-1);
            ASSERT_EQ(text, known ? std::u16string(1, unit) : std::u16string()) << std::hex << lead << ' ' << trail;
#endif
            if (text.empty())
                continue;
            ++valid;
            ASSERT_EQ(text.size(), 1u) << std::hex << lead << ' ' << trail;
            ASSERT_GE(text[0], 0x80u);
            ASSERT_EQ(gbkEncode(text, 3), bytes + '\0') << std::hex << lead << ' ' << trail;
        }
    }
#ifndef _WIN32
    iconv_close(cd);
#endif
    EXPECT_EQ(valid, 21791);
}

TEST(CodePage, EdgesOfTheCodeSpaceZeroFillAndNullInputs)
{
    // Bytes and their text; an empty text: invalid. 0x80 is the euro sign, as in
    // code page 936; 0xFF is no lead byte; trails run from 0x40 to 0xFE; a
    // truncated double-byte character gives an empty, not a null, string.
    const std::pair<std::string, std::u16string> decodes[] = {
        {"a\x7F", u"a\x7F"}, {"\x80", u"\u20AC"}, {"\xFF", u""},  {"\xFF\x40", u""},
        {"\x81\x3F", u""},   {"\x81\xFF", u""},   {"ab\x81", u""}};
    for (const auto& [bytes, text] : decodes) {
        CString out;
        CStringConverter::convertFromMBCS(bytes.c_str(), out);
        EXPECT_TRUE(str(out) == text && !out.isEmpty()) << bytes;
    }
    CString s(u"old");
    CStringConverter::convertFromMBCS(nullptr, s);
    EXPECT_TRUE(s.isEmpty());

    // Text, buffer size and the bytes before the zero fill of the rest; a
    // character never split; no GBK form (a lone surrogate, a pair beyond the
    // BMP, Thai) empties the whole result. With the buffer full, a character
    // without a GBK form just ends the text, but a broken surrogate still
    // fails the whole conversion.
    const std::tuple<std::u16string, unsigned int, std::string> encodes[] = {
        {u"\u20AC", 8, "\x80"},       {u"\u0080", 8, ""},   {u"a\xD800", 8, ""},  {u"a\xDC00", 8, ""},
        {u"\xD83D\xDE00", 8, ""},     {u"ab\u0E01", 8, ""}, {u"a\u0E01", 2, "a"}, {u"a\xD800", 2, ""},
        {u"a\xDBFF", 2, ""},          {u"a\xDC00", 2, ""},  {u"a\xDFFF", 2, ""},  {u"a\xD83D\xDE00", 2, "a"},
        {u"a\u00B7", 4, "a\xA1\xA4"}, {u"a\u4E2D", 3, "a"}, {u"ab", 1, ""},       {u"", 8, ""},
    };
    for (const auto& [text, size, bytes] : encodes)
        EXPECT_EQ(gbkEncode(text, size), bytes + std::string(size - bytes.size(), '\0')) << size;
    char out[4] = {'x', 'x', 'x', 'x'};
    CStringConverter::convertToMBCS(static_cast<const char16_t*>(nullptr), out, 4);
    CStringConverter::convertToMBCS(u"a", nullptr, 8);
    EXPECT_EQ(std::string(out, 4), std::string(4, '\0'));
}

TEST(CStringConverterMBCS, UsableFromSeveralThreads)
{
    std::atomic<int> failures{0};
    const auto convert = [&failures](int t) {
        for (int i = 0; i < 500; ++i) {
            const CString text = CStringConverter::format(u"\u4E2D%d\u6587", t * 1000 + i);
            char out[64];
            CStringConverter::convertToMBCS(text, out, sizeof(out));
            CString back;
            CStringConverter::convertFromMBCS(out, back);
            failures += !(back == text);
        }
    };
    std::thread a(convert, 1), b(convert, 2);
    convert(3);
    a.join();
    b.join();
    EXPECT_EQ(failures.load(), 0);
}

TEST(CStringConverterFormat, UnitsPointersLongOutputAndInvalidFormats)
{
    int x = 0;
    char pointer[64];
    // The library writes a pointer as glibc does on every platform, "0x" and
    // its hex digits; other C runtimes pad it, so the reference is built here.
    std::snprintf(pointer, sizeof(pointer), "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&x)));
    const std::pair<CString, std::u16string> cases[] = {
        {CStringConverter::format(u"[%s|%ls|%S]", u"wide \u4E2D", u"a", u"b"), u"[wide \u4E2D|a|b]"},
        {CStringConverter::format(u"[%5s|%-5s|%.2s]", u"ab", u"cd", u"efgh"), u"[   ab|cd   |ef]"},
        {CStringConverter::format(u"%s[%.3s]", NULL_TEXT, NULL_TEXT), u"(null)[]"},
        {CStringConverter::format(u"%c%lc%C[%3c|%-3c]", 'a', 0x4E2D, 0x00E9, 'x', 'y'), u"a\u4E2D\u00E9[  x|y  ]"},
        {CStringConverter::format(u"%p", static_cast<void*>(&x)), widen(pointer)},
        {CStringConverter::format(u"[%7p]", static_cast<void*>(nullptr)), u"[  (nil)]"},
        {CStringConverter::format(u"%5000d|%s", 7, u"end"), std::u16string(4999, u' ') + u"7|end"},
        {CStringConverter::format(u"%qd|%qx", -(1LL << 40), 1ULL << 40), u"-1099511627776|10000000000"},
        // Zero with precision 0 has no digits, but '#' keeps octal's leading zero
        // (written out: mingw's snprintf drops that zero).
        {CStringConverter::format(u"%.0d|%.0x|%#.0o|%#.0x|%#o", 0, 0u, 0u, 0u, 0u), u"||0||0"},
    };
    for (const auto& [got, expected] : cases) {
        EXPECT_EQ(str(got), expected);
        EXPECT_EQ(got.buffer()[got.length()], 0);
    }
    // A count that does not fit in an int is an error, not a huge allocation.
    for (const char16_t* f : {u"", NULL_TEXT, u"abc %", u"%y", u"x %k y", u"%n", u"%lq", u"%99999999999d"}) {
        const CString r = CStringConverter::format(f, 1);
        EXPECT_TRUE(r.length() == 0u && !r.isEmpty());
    }
}

TEST(CStringConverterFormat, PrintfWritesUtf8ToStandardOutput)
{
    testing::internal::CaptureStdout();
    CStringConverter::printf(u"%s %d\u00E9 %.1f\n", u"\u4E2D", 5, 0.5); // and no warning about its buffers
    CStringConverter::printf(nullptr);
    CStringConverter::printf(u"%y");
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\xE4\xB8\xAD 5\xC3\xA9 0.5\n");
}

// Differential: random flags, width, precision, length modifiers and values
// against the C library. Only combinations whose meaning the C standard
// defines are generated.
TEST(CStringConverterFormat, MatchesSnprintfOnRandomNumericConversions)
{
    std::mt19937_64 rng(0x5EED);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned long long>(n)); };
    const std::string conversions = "diouxXceEfFgGaA%";
    for (int round = 0; round < 30000; ++round) {
        const char conv = conversions[pick(int(conversions.size()))];
        const bool isInt = std::string("diouxX").find(conv) != std::string::npos;
        const bool isFloat = std::string("eEfFgGaA").find(conv) != std::string::npos;
        std::string cFormat = "%";
        int stars = 0; // 1: width, 2: precision, 3: both
        int widthArg = pick(41) - 20;
        int precisionArg = pick(30) - 5;
        if (conv != '%') {
            for (int i = pick(4); i > 0; --i) {
                const char flag = "-+ #0"[pick(5)];
                // Only combinations whose meaning the C standard defines.
                const bool undefined = (flag == '#' && !(isFloat || conv == 'o' || conv == 'x' || conv == 'X')) ||
                                       (conv == 'c' && (flag == '0' || flag == '+' || flag == ' '));
                if (!undefined)
                    cFormat.push_back(flag);
            }
            const std::string widths[] = {"", std::to_string(pick(25)), "*"};
            const std::string precisions[] = {"", ".", "." + std::to_string(pick(isFloat ? 30 : 25)), ".*"};
            const int widthKind = pick(3);
            const int precisionKind = conv == 'c' ? 0 : pick(4);
            cFormat += widths[widthKind] + precisions[precisionKind];
            stars = (widthKind == 2) + 2 * (precisionKind == 3);
        }
        // Length modifier and the matching argument.
        const char* intModifiers[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
        const char* floatModifiers[] = {"", "l", "L"};
        const int lengthKind = isInt ? pick(8) : (isFloat ? pick(3) : 0);
        cFormat += isInt ? intModifiers[lengthKind] : (isFloat ? floatModifiers[lengthKind] : "");
        cFormat.push_back(conv);

        auto run = [&](auto value) {
            if (stars == 3)
                expectSameAsSnprintf(cFormat, widthArg, precisionArg, value);
            else if (stars != 0)
                expectSameAsSnprintf(cFormat, stars == 1 ? widthArg : precisionArg, value);
            else
                expectSameAsSnprintf(cFormat, value);
        };
        const unsigned long long bits = rng();
        // Small, medium and full-range values, so that zero, one digit and the extremes all occur.
        const unsigned long long raw = std::array<unsigned long long, 4>{bits % 3, bits % 1000, bits, bits}[pick(4)];
        const bool negative = pick(2) == 1;
        const long long s = negative ? -static_cast<long long>(raw >> 1) : static_cast<long long>(raw >> 1);
        if (conv == '%') {
            expectSameAsSnprintf(cFormat);
        } else if (conv == 'c') {
            run(static_cast<int>(1 + bits % 255));
        } else if (isInt) {
            switch (lengthKind) {
            case 3: run(static_cast<long>(s)); break;
            case 4: run(static_cast<long long>(s)); break;
            case 5: run(static_cast<intmax_t>(s)); break;
            case 6: run(static_cast<std::size_t>(raw)); break;
            case 7: run(static_cast<std::ptrdiff_t>(s)); break;
            default: run(static_cast<int>(s)); break;
            }
        } else {
            // Fixed notation is computed without the C library: dyadic values put
            // exact ties at every digit position, which must round half to even,
            // and any finite double, huge ones included, must come out digit for digit.
            double any;
            const std::uint64_t finite = bits & 0x7FEFFFFFFFFFFFFFull;
            std::memcpy(&any, &finite, sizeof(any));
            const double shapes[] = {0.0,
                                     static_cast<double>(bits % 100000) / 100.0, // round-ish decimals
                                     std::ldexp(static_cast<double>(bits >> 11), pick(200) - 150),
                                     pick(3) == 0 ? INFINITY : (pick(2) ? NAN : 0.5),
                                     0.5 + static_cast<double>(pick(20)), // ties
                                     static_cast<double>(bits % 1000000) * std::pow(10.0, pick(30) - 15),
                                     std::ldexp(static_cast<double>(bits % 100000), -pick(24)),
                                     any};
            const double v = (negative ? -1 : 1) * shapes[pick(8)];
            if (lengthKind == 2)
                run(static_cast<long double>(v));
            else
                run(v);
        }
        if (testing::Test::HasFatalFailure())
            return;
    }
    expectSameAsSnprintf("%f|%.0f|%#.0f|%.3f|%.19f", -0.0, 0.5, 2.5, -0.0004, 1e-5);
    expectSameAsSnprintf("%.2f|%.0f|%.1f", 9.995, 1e19, 18446744073709551615.0);
    expectSameAsSnprintf("%f|%.0f|%.2f", 4.9e-324, DBL_MIN, 0.125);
}

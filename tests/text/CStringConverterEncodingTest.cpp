#include <text/CStringConverter.h>

#include <text/CString.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#ifndef _WIN32 // the reference for the GBK table is glibc's iconv
#include <iconv.h>
#endif

using namespace Trell;

namespace {

std::u16string str(const CString& s)
{
    return s.buffer() == nullptr ? std::u16string() : std::u16string(s.buffer(), s.length());
}

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

} // namespace

// The forms, limits and quirks of both directions are those of the
// references above, checked below; here only what has no text at all.
TEST(CStringConverterUTF8, NullAndEmptyInputsWriteNothing)
{
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

TEST(CStringConverterUTF8, EncoderAgreesWithReferenceAtEveryBufferSize)
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
        ASSERT_EQ(decode(encode(text, fullSize)), text);
    }
}

namespace {

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

} // namespace

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

    // Text, buffer size and the whole buffer: the rest is zero-filled and a
    // character never split; no GBK form (a lone surrogate, a pair beyond the
    // BMP, Thai) empties the whole result. With the buffer full, a character
    // without a GBK form just ends the text, but a broken surrogate still
    // fails the whole conversion.
    const std::string z(8, '\0');
    const std::tuple<std::u16string, unsigned int, std::string> encodes[] = {
        {u"\u20AC", 8, "\x80" + z.substr(1)},
        {u"\u0080", 8, z},
        {u"a\xD800", 8, z},
        {u"a\xDC00", 8, z},
        {u"\xD83D\xDE00", 8, z},
        {u"ab\u0E01", 8, z},
        {u"a\u0E01", 2, std::string("a\0", 2)},
        {u"a\xD800", 2, z.substr(0, 2)},
        {u"a\xDBFF", 2, z.substr(0, 2)},
        {u"a\xDC00", 2, z.substr(0, 2)},
        {u"a\xDFFF", 2, z.substr(0, 2)},
        {u"a\xD83D\xDE00", 2, std::string("a\0", 2)},
        {u"a\u00B7", 4, "a\xA1\xA4" + z.substr(0, 1)},
        {u"a\u4E2D\u6587", 5, "a\xD6\xD0" + z.substr(0, 2)},
        {u"ab", 1, z.substr(0, 1)}};
    for (const auto& [text, size, bytes] : encodes)
        EXPECT_EQ(gbkEncode(text, size), bytes) << size;
    EXPECT_EQ(gbkEncode(std::u16string()), z);
    char out[4] = {'x', 'x', 'x', 'x'};
    CStringConverter::convertToMBCS(static_cast<const char16_t*>(nullptr), out, 4);
    CStringConverter::convertToMBCS(u"a", nullptr, 8);
    EXPECT_EQ(std::string(out, 4), z.substr(0, 4));
}

TEST(CStringConverterMBCS, UsableFromSeveralThreads)
{
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&failures, t] {
            for (int i = 0; i < 500; ++i) {
                const CString text = CStringConverter::format(u"\u4E2D%d\u6587", t * 1000 + i);
                char out[64];
                CStringConverter::convertToMBCS(text, out, sizeof(out));
                CString back;
                CStringConverter::convertFromMBCS(out, back);
                failures += !(back == text);
            }
        });
    }
    for (std::thread& th : threads)
        th.join();
    EXPECT_EQ(failures.load(), 0);
}

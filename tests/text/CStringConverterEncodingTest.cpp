#include <text/CStringConverter.h>

#include <text/CString.h>

#include <gtest/gtest.h>

#include <cstring>
#include <iconv.h>
#include <atomic>
#include <random>
#include <utility>
#include <string>
#include <thread>
#include <vector>

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

// The decoding rules written out directly, one byte at a time, as the
// reference for the vectorised decoder.
std::u16string referenceDecode(const unsigned char* b)
{
    std::u16string out;
    for (;;) {
        const unsigned int c = *b;
        if (c == 0) {
            return out;
        }
        if (c >= 0xE0) {
            if (b[1] == 0 || b[2] == 0) {
                return out;
            }
            out.push_back(static_cast<char16_t>(((c << 12) | ((b[1] & 0x3Fu) << 6) | (b[2] & 0x3Fu)) & 0xFFFF));
            b += 3;
        } else if (c >= 0xC0) {
            if (b[1] == 0) {
                return out;
            }
            out.push_back(static_cast<char16_t>(((c & 0x1Fu) << 6) | (b[1] & 0x3Fu)));
            b += 2;
        } else if (c < 0x80) {
            out.push_back(static_cast<char16_t>(c));
            b += 1;
        } else {
            b += 1;
        }
    }
}

// The encoding rules written out directly.
std::string referenceEncode(const std::u16string& text, unsigned int size)
{
    std::string out;
    for (char16_t u : text) {
        const unsigned int c = u;
        std::string seq;
        if (c < 0x80) {
            seq.push_back(static_cast<char>(c));
        } else if (c < 0x800) {
            seq.push_back(static_cast<char>(0xC0 | (c >> 6)));
            seq.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        } else {
            seq.push_back(static_cast<char>(0xE0 | (c >> 12)));
            seq.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
            seq.push_back(static_cast<char>(0x80 | (c & 0x3F)));
        }
        if (out.size() + seq.size() > size - 1) {
            break;
        }
        out += seq;
    }
    return out;
}

std::string iconvConvert(const char* to, const char* from, const void* data, std::size_t bytes, bool* ok)
{
    iconv_t cd = iconv_open(to, from);
    EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
    std::string out(bytes * 4 + 16, '\0');
    char* in = const_cast<char*>(static_cast<const char*>(data));
    std::size_t inLeft = bytes;
    char* dst = out.data();
    std::size_t outLeft = out.size();
    const std::size_t r = iconv(cd, &in, &inLeft, &dst, &outLeft);
    *ok = r != static_cast<std::size_t>(-1);
    iconv_close(cd);
    out.resize(out.size() - outLeft);
    return out;
}

// Random valid BMP text: ASCII runs, Latin, CJK, and no surrogates.
std::u16string randomText(std::mt19937& rng, std::size_t units, bool cjkOnly = false)
{
    std::u16string text;
    std::uniform_int_distribution<int> kind(0, 9);
    for (std::size_t i = 0; i < units; ++i) {
        const int k = cjkOnly ? 9 : kind(rng);
        unsigned int c;
        if (k < 5) {
            c = std::uniform_int_distribution<unsigned int>(1, 0x7F)(rng);
        } else if (k < 7) {
            c = std::uniform_int_distribution<unsigned int>(0x80, 0x7FF)(rng);
        } else if (k < 8) {
            c = std::uniform_int_distribution<unsigned int>(0x800, 0xD7FF)(rng);
        } else if (k < 9) {
            c = std::uniform_int_distribution<unsigned int>(0xE000, 0xFFFF)(rng);
        } else {
            c = std::uniform_int_distribution<unsigned int>(0x4E00, 0x9FA5)(rng);
        }
        text.push_back(static_cast<char16_t>(c));
    }
    return text;
}

} // namespace

TEST(CStringConverterUTF8, FixedFormsBothWays)
{
    const char16_t pair[] = {0xD83D, 0xDE00, 0};
    // Units and their bytes, each way; a mark and surrogates are plain units.
    const std::pair<std::u16string, std::string> both[] = {
        {u"A", "A"},
        {u"\u00E9", "\xC3\xA9"},
        {u"\u07FF\u0800", "\xDF\xBF\xE0\xA0\x80"},
        {u"\uFFFF", "\xEF\xBF\xBF"},
        {u"\uFEFFa", "\xEF\xBB\xBF" "a"},
        {pair, "\xED\xA0\xBD\xED\xB8\x80"},
    };
    for (const auto& [units, bytes] : both) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(encode(units, 16), bytes);
        EXPECT_EQ(decode(bytes), units);
    }
    // Decoding only: stray and truncated bytes are dropped, continuation bytes
    // are not checked, and a four-byte lead keeps three bytes and drops the fourth.
    const std::pair<std::string, std::u16string> decoded[] = {
        {"a\x80" "b", u"ab"},
        {"\xC3", u""},
        {"ab\xE2\x82", u"ab"},
        {"ab\xE2", u"ab"},
        {"\xBF\xBF" "c", u"c"},
        {"\xC3" "A", std::u16string(1, char16_t((0x03 << 6) | (0x41 & 0x3F)))},
        {"\xE4" "ab" "c", std::u16string(1, char16_t(0x4000 | (0x21 << 6) | 0x22)) + u"c"},
        {"\xF0\x9F\x98\x80" "z", std::u16string(1, char16_t(((0xF0u << 12) | (0x1Fu << 6) | 0x18u) & 0xFFFF)) + u"z"},
    };
    for (const auto& [bytes, units] : decoded)
        EXPECT_EQ(decode(bytes), units) << bytes;
}

TEST(CStringConverterUTF8, SequenceMustFitWithTheTerminator)
{
    unsigned int written = 99;
    EXPECT_EQ(encode(u"\u20AC", 3, &written), "");
    EXPECT_EQ(written, 0u);
    EXPECT_EQ(encode(u"\u20AC", 4, &written), "\xE2\x82\xAC");
    EXPECT_EQ(written, 3u);
    // The first unit that does not fit ends the text, even if a later one would.
    EXPECT_EQ(encode(u"a\u00E9b", 3, &written), "a");
    EXPECT_EQ(written, 1u);
    EXPECT_EQ(encode(u"ab", 1, &written), "");
    EXPECT_EQ(written, 0u);
}

TEST(CStringConverterUTF8, NullAndEmptyInputs)
{
    unsigned char out[4] = {9, 9, 9, 9};
    unsigned int written = 5;
    CStringConverter::convertToUTF8(static_cast<const char16_t*>(nullptr), out, 4, &written);
    EXPECT_EQ(written, 0u);
    written = 5;
    CStringConverter::convertToUTF8(u"a", out, 0, &written);
    EXPECT_EQ(written, 0u);
    CStringConverter::convertToUTF8(u"a", nullptr, 4, &written);
    EXPECT_EQ(out[0], 9); // nothing written, not even a terminator
    CStringConverter::convertToUTF8(u"", out, 4, &written);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 9);
    CStringConverter::convertToUTF8(CString(u"xyz"), out, 4, nullptr); // null count pointer is fine
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out)), "xyz");

    CString s(u"old");
    CStringConverter::convertFromUTF8(nullptr, s);
    EXPECT_TRUE(s.isEmpty());
    CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(""), s);
    EXPECT_FALSE(s.isEmpty());
    EXPECT_EQ(s.length(), 0u);
}

TEST(CStringConverterUTF8, DecoderAgreesWithReferenceOnRandomBytes)
{
    // Garbage biased towards ASCII runs so that the vector path switches in
    // and out at every alignment.
    std::mt19937 rng(12345);
    for (int round = 0; round < 3000; ++round) {
        const std::size_t n = std::uniform_int_distribution<std::size_t>(0, 80)(rng);
        const int asciiBias = std::uniform_int_distribution<int>(0, 100)(rng);
        std::string bytes;
        for (std::size_t i = 0; i < n; ++i) {
            unsigned int b;
            if (std::uniform_int_distribution<int>(0, 99)(rng) < asciiBias) {
                b = std::uniform_int_distribution<unsigned int>(1, 0x7F)(rng);
            } else {
                b = std::uniform_int_distribution<unsigned int>(0x80, 0xFF)(rng);
            }
            bytes.push_back(static_cast<char>(b));
        }
        const std::u16string expected = referenceDecode(reinterpret_cast<const unsigned char*>(bytes.c_str()));
        ASSERT_EQ(decode(bytes), expected) << "round " << round;
    }
}

TEST(CStringConverterUTF8, EncoderAgreesWithReferenceAtEveryBufferSize)
{
    // Any unit, surrogates included, at every length and alignment, with
    // every buffer size so that a multi-byte unit meets the limit at each
    // position.
    std::mt19937 rng(777);
    for (int round = 0; round < 2000; ++round) {
        const std::size_t n = std::uniform_int_distribution<std::size_t>(0, 70)(rng);
        std::u16string text;
        for (std::size_t i = 0; i < n; ++i) {
            const bool ascii = std::uniform_int_distribution<int>(0, 3)(rng) != 0;
            text.push_back(static_cast<char16_t>(ascii ? std::uniform_int_distribution<unsigned int>(1, 0x7F)(rng)
                                                       : std::uniform_int_distribution<unsigned int>(0x80, 0xFFFF)(rng)));
        }
        const unsigned int fullSize = static_cast<unsigned int>(referenceEncode(text, 1000).size()) + 1;
        for (unsigned int size = 1; size <= fullSize + 1; ++size) {
            unsigned int written = 0;
            const std::string got = encode(text, size, &written);
            ASSERT_EQ(got, referenceEncode(text, size)) << "round " << round << " size " << size;
            ASSERT_EQ(written, got.size());
        }
        // Round trip: every unit comes back unchanged when all fits.
        ASSERT_EQ(decode(encode(text, fullSize)), text);
    }
}

TEST(CStringConverterUTF8, MatchesIconvOnValidText)
{
    std::mt19937 rng(2024);
    for (int round = 0; round < 300; ++round) {
        const std::size_t n = std::uniform_int_distribution<std::size_t>(0, 600)(rng);
        const std::u16string text = randomText(rng, n, round % 5 == 0);
        bool ok = false;
        const std::string viaIconv = iconvConvert("UTF-8", "UTF-16LE", text.data(), text.size() * 2, &ok);
        ASSERT_TRUE(ok);
        ASSERT_EQ(encode(text, static_cast<unsigned int>(viaIconv.size() + 1)), viaIconv) << "round " << round;

        const std::string units = iconvConvert("UTF-16LE", "UTF-8", viaIconv.data(), viaIconv.size(), &ok);
        ASSERT_TRUE(ok);
        const std::u16string expected(reinterpret_cast<const char16_t*>(units.data()), units.size() / 2);
        ASSERT_EQ(decode(viaIconv), expected) << "round " << round;
    }
}

TEST(CStringConverterMBCS, MatchesIconvGbkOnValidText)
{
    std::mt19937 rng(99);
    for (int round = 0; round < 200; ++round) {
        const std::size_t n = std::uniform_int_distribution<std::size_t>(1, 200)(rng);
        // ASCII and common CJK: all have GBK forms.
        std::u16string text;
        for (std::size_t i = 0; i < n; ++i) {
            text.push_back(static_cast<char16_t>(std::uniform_int_distribution<int>(0, 1)(rng)
                                                     ? std::uniform_int_distribution<unsigned int>(1, 0x7F)(rng)
                                                     : std::uniform_int_distribution<unsigned int>(0x4E00, 0x9FA5)(rng)));
        }
        bool ok = false;
        const std::string gbk = iconvConvert("GBK", "UTF-16LE", text.data(), text.size() * 2, &ok);
        ASSERT_TRUE(ok);

        std::vector<char> out(gbk.size() + 1, 'x');
        CStringConverter::convertToMBCS(text.c_str(), out.data(), static_cast<unsigned int>(out.size()));
        ASSERT_EQ(std::string(out.data()), gbk) << "round " << round;

        CString back;
        CStringConverter::convertFromMBCS(gbk.c_str(), back);
        ASSERT_EQ(str(back), text) << "round " << round;
    }
}

TEST(CStringConverterMBCS, ZeroFillsNeverSplitsACharacterAndRejectsUnconvertibleText)
{
    char out[8];
    std::memset(out, 'x', sizeof(out));
    CStringConverter::convertToMBCS(u"a\u4E2D\u6587", out, 5); // at most 4 bytes: the second CJK does not fit
    EXPECT_EQ(std::string(out), "a\xD6\xD0");
    EXPECT_EQ(out[3] | out[4], 0);
    std::memset(out, 'x', sizeof(out));
    CStringConverter::convertToMBCS(CString(u"ab"), out, 1);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(out[1], 'x');
    std::memset(out, 'x', sizeof(out));
    CStringConverter::convertToMBCS(static_cast<const char16_t*>(nullptr), out, 8);
    EXPECT_EQ(std::string(out, 8), std::string(8, '\0'));
    CStringConverter::convertToMBCS(u"a", nullptr, 8);
    // U+0E01 (Thai) has no GBK form: the whole result is empty.
    std::memset(out, 'x', sizeof(out));
    CStringConverter::convertToMBCS(u"ab\u0E01", out, 8);
    EXPECT_EQ(out[0], 0);

    CString s(u"old");
    CStringConverter::convertFromMBCS(nullptr, s);
    EXPECT_TRUE(s.isEmpty());
    CStringConverter::convertFromMBCS("ab\x81", s); // truncated double-byte character
    EXPECT_EQ(s.length(), 0u);
    EXPECT_FALSE(s.isEmpty());
}

TEST(CStringConverterMBCS, UsableFromSeveralThreads)
{
    // Each thread converts with its own conversion state.
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&failures, t] {
            for (int i = 0; i < 500; ++i) {
                CString text = CStringConverter::format(u"\u4E2D%d\u6587", t * 1000 + i);
                char out[64];
                CStringConverter::convertToMBCS(text, out, sizeof(out));
                CString back;
                CStringConverter::convertFromMBCS(out, back);
                if (!(back == text)) {
                    ++failures;
                }
            }
        });
    }
    for (std::thread& th : threads) {
        th.join();
    }
    EXPECT_EQ(failures.load(), 0);
}

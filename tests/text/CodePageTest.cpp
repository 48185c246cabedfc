#include <text/CString.h>
#include <text/CStringConverter.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

using namespace Trell;

// The GBK table built into the library, through the public MBCS routines.

namespace {

std::u16string decode(const std::string& bytes)
{
    CString out;
    CStringConverter::convertFromMBCS(bytes.c_str(), out);
    return out.buffer() ? std::u16string(out.buffer(), out.length()) : std::u16string();
}

std::string encode(const std::u16string& text, unsigned int size = 16)
{
    char out[16];
    CStringConverter::convertToMBCS(text.c_str(), out, size);
    return out;
}

} // namespace

// Every double-byte code either decodes to one unit that encodes back to the
// same two bytes, or is invalid; GBK has 21791 of them.
TEST(CodePage, EveryDoubleByteCodeRoundTrips)
{
    int valid = 0;
    for (int lead = 0x81; lead <= 0xFE; ++lead) {
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            const std::string bytes{static_cast<char>(lead), static_cast<char>(trail)};
            const std::u16string text = decode(bytes);
            if (text.empty())
                continue;
            ++valid;
            ASSERT_EQ(text.size(), 1u) << std::hex << lead << ' ' << trail;
            ASSERT_GE(text[0], 0x80u);
            ASSERT_EQ(encode(text), bytes) << std::hex << lead << ' ' << trail;
        }
    }
    EXPECT_EQ(valid, 21791);
}

TEST(CodePage, EdgesOfTheCodeSpace)
{
    // Bytes and their text; an empty text: invalid.
    const std::pair<std::string, std::u16string> decodes[] = {
        {"a\x7F", u"a\x7F"},
        {"\x80", u"\u20AC"},       // the euro sign, as in code page 936
        {"\xFF", u""},             // no lead byte
        {"\xFF\x40", u""},
        {"\x81\x3F", u""},         // trail below the range
        {"\x81\x40", u"\u4E02"},   // first trail
        {"\x81\x7F", u""},         // never a trail
        {"\x81\xFF", u""},         // trail above the range
        {"\xFE\x4F", u"\uFA29"},   // last lead
        {"\xA1\xA1", u"\u3000"},
        {"\xB0\xA1", u"\u554A"},
    };
    for (const auto& [bytes, text] : decodes)
        EXPECT_EQ(decode(bytes), text) << bytes;

    // Text, buffer size and bytes; no bytes: no GBK form.
    const std::tuple<std::u16string, unsigned int, std::string> encodes[] = {
        {u"\u20AC", 16, "\x80"},
        {u"\u0080", 16, ""},
        {u"a\xD800", 16, ""},         // lone high surrogate
        {u"a\xDC00", 16, ""},         // lone low surrogate
        {u"\xD83D\xDE00", 16, ""},    // a pair: beyond the BMP, no GBK form
        {u"\u00B7", 16, "\xA1\xA4"},
        // With the buffer full, a character without a GBK form just ends the
        // text, but a broken surrogate still fails the whole conversion.
        {u"a\u0E01", 2, "a"},
        {u"a\xD800", 2, ""},
        {u"a\xDBFF", 2, ""},
        {u"a\xDC00", 2, ""},
        {u"a\xDFFF", 2, ""},
        {u"a\xD83D\xDE00", 2, "a"},
    };
    for (const auto& [text, size, bytes] : encodes)
        EXPECT_EQ(encode(text, size), bytes);
}

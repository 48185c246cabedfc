#include <text/CString.h>
#include <text/CStringConverter.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#ifndef _WIN32 // the reference is glibc's iconv
#include <iconv.h>
#endif

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
            const std::u16string text = decode(bytes);
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
            ASSERT_EQ(encode(text), bytes) << std::hex << lead << ' ' << trail;
        }
    }
#ifndef _WIN32
    iconv_close(cd);
#endif
    EXPECT_EQ(valid, 21791);
}

TEST(CodePage, EdgesOfTheCodeSpace)
{
    // Bytes and their text; an empty text: invalid. 0x80 is the euro sign, as in
    // code page 936; 0xFF is no lead byte; trails run from 0x40 to 0xFE. The
    // double-byte codes themselves are all checked above.
    const std::pair<std::string, std::u16string> decodes[] = {{"a\x7F", u"a\x7F"}, {"\x80", u"\u20AC"},
                                                              {"\xFF", u""},       {"\xFF\x40", u""},
                                                              {"\x81\x3F", u""},   {"\x81\xFF", u""}};
    for (const auto& [bytes, text] : decodes)
        EXPECT_EQ(decode(bytes), text) << bytes;

    // Text, buffer size and bytes; no bytes: no GBK form. A lone surrogate or
    // a pair (beyond the BMP) has none. With the buffer full, a character
    // without a GBK form just ends the text, but a broken surrogate still
    // fails the whole conversion. The last row fills the buffer exactly.
    const std::tuple<std::u16string, unsigned int, std::string> encodes[] = {
        {u"\u20AC", 16, "\x80"},   {u"\u0080", 16, ""},  {u"a\xD800", 16, ""},       {u"a\xDC00", 16, ""},
        {u"\xD83D\xDE00", 16, ""}, {u"a\u0E01", 2, "a"}, {u"a\xD800", 2, ""},        {u"a\xDBFF", 2, ""},
        {u"a\xDC00", 2, ""},       {u"a\xDFFF", 2, ""},  {u"a\xD83D\xDE00", 2, "a"}, {u"a\u00B7", 4, "a\xA1\xA4"}};
    for (const auto& [text, size, bytes] : encodes)
        EXPECT_EQ(encode(text, size), bytes);
}

// The strict UTF-8 codec is internal to the library; the test program
// compiles its own copy (see tests.cmake).
#include <platform/posix/Utf8Text.h>

#include <gtest/gtest.h>

#include <tuple>

using namespace Trell;

TEST(Utf8Text, EncodesPairsWholeAndReplacesEachLoneSurrogateOrInvalidByte)
{
    // The text, its UTF-8, and that decoded again.
    const std::tuple<std::u16string, std::string, std::u16string> aCases[] = {
        {u"\u007F\u0080\u07FF\u0800\uFFFF", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF",
         u"\u007F\u0080\u07FF\u0800\uFFFF"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
        {std::u16string{u'x', 0xD800}, "x\xEF\xBF\xBD", u"x\uFFFD"},
        {std::u16string{0xDC00, u'y', 0xDBFF, u'z'}, "\xEF\xBF\xBDy\xEF\xBF\xBDz", u"\uFFFDy\uFFFDz"},
    };
    for (const auto& [text, utf8, back] : aCases) {
        EXPECT_EQ(Utf8Text::encode(text), utf8);
        EXPECT_EQ(Utf8Text::decode(utf8.data(), utf8.size()), back);
    }
    // Each invalid byte decodes as one replacement.
    const std::u16string R(1, u'\uFFFD');
    // The bytes, their text, and their text when a cut tail is dropped.
    const std::tuple<std::string, std::u16string, std::u16string> invalid[] = {
        {"\x80(", R + u"(", R + u"("},
        {"\xC0\xAF", R + R, R + R},                                     // overlong, invalid lead
        {"\xE0\x80\xAF", R + R + R, R + R + R},                         // overlong three bytes
        {"\xED\xA0\x80", R + R + R, R + R + R},                         // an encoded surrogate
        {"\xF4\x90\x80\x80\xF5", R + R + R + R + R, R + R + R + R + R}, // above U+10FFFF
        {"\xC3(", R + u"(", R + u"("},
        {"a\xE4\xB8", u"a" + R + R, u"a"},
        {"\xF0\x9F\x98", R + R + R, u""},
    };
    for (const auto& [utf8, text, cutTailDropped] : invalid) {
        EXPECT_EQ(Utf8Text::decode(utf8.data(), utf8.size()), text) << utf8;
        EXPECT_EQ(Utf8Text::decode(utf8.data(), utf8.size(), true), cutTailDropped) << utf8;
    }
}

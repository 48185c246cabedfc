#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// Character rules and small readers shared by the XML reader and writer.
//
// The texts handled here end at their first zero unit. Blanks are exactly
// space, tab, CR and LF. A name starts with an ASCII letter or '_' and goes
// on over ASCII letters, digits, '_', '-', '.' and ':'.
//
// Seven characters travel as entities in both directions, in this order:
// '&' "&amp;", '<' "&lt;", '>' "&gt;", '"' "&quot;", '\'' "&apos;",
// CR "&cr;", LF "&lf;". The last two are this format's own: line breaks in
// values and texts survive a save and a parse. No other entity (numeric
// references included) is decoded; such text is kept literally.
class ECS_API CXMLHelper
{
    TRELL_DECLARE_ALLOCATOR(u"CXMLHelper")

public:
    // Longest element or attribute name the reader accepts; a longer name is
    // a parse error at its first character.
    static constexpr unsigned int MAX_NAME_LENGTH = 255;
    // Deepest nesting the reader accepts (the element parsed is level 1); an
    // element below it is a parse error at its '<'. The reader works without
    // recursion, so the bound protects memory and the callers' own
    // recursion, not the reader's stack.
    static constexpr unsigned int MAX_DEPTH = 256;

    static bool isBlank(char16_t ch) { return ch == 0x20 || ch == 0x09 || ch == 0x0D || ch == 0x0A; }
    static bool isNameStartChar(char16_t ch)
    {
        return (ch >= u'a' && ch <= u'z') || (ch >= u'A' && ch <= u'Z') || ch == u'_';
    }
    static bool isNameChar(char16_t ch)
    {
        return isNameStartChar(ch) || (ch >= u'0' && ch <= u'9') || ch == u'-' || ch == u'.' || ch == u':';
    }

    // The first unit at or after `text` that is not a blank; null stays null.
    static const char16_t* skipBlank(const char16_t* text);

    // Reads the pseudo-attribute `name`="value" of the header: blanks, the
    // name, blanks, '=', blanks, a single or double quote, then the value up
    // to the next quote of either kind (the two need not match). A value of
    // length 0 leaves `out` untouched. Returns the position after the closing
    // quote, or null on any mismatch.
    static const char16_t* readTag(const char16_t* text, const char16_t* name, CString& out);

    // `length` units of `text` with the seven special characters replaced by
    // their entities; the result is built once with its exact size.
    static void encodeSpecialChars(const char16_t* text, unsigned int length, CString& out);
    // The inverse: each of the seven entities becomes its character, any other
    // '&' is kept as it is.
    static void decodeSpecialChars(const char16_t* text, unsigned int length, CString& out);

    // Length of the encoded form of `length` units of `text`.
    static unsigned long long getEncodedLength(const char16_t* text, unsigned int length);
    // Writes the encoded form to `out` (room for getEncodedLength units) and
    // returns the position after it.
    static char16_t* writeEncoded(char16_t* out, const char16_t* text, unsigned int length);

protected:
    CXMLHelper() {}
};

} // namespace Trell

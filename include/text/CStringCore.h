#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Character rules of the whole library, as static routines over raw runs of
// 16-bit UTF-16 code units. Every unit is classified and mapped by itself: no
// routine knows about surrogate pairs.
//
// Two kinds of input: zero-terminated texts (a null pointer reads as the
// empty text, see each routine) and counted texts, which look at exactly the
// given number of units and do not stop at a zero. Counts are trusted: a
// count beyond the buffer is the caller's fault.
//
// Comparisons that ignore case fold only 'A'..'Z'; the wider case tables are
// used by toUppercase/toLowercase alone. All routines are reentrant.
class ECS_API CStringCore
{
    TRELL_DECLARE_ALLOCATOR(u"CStringCore")

public:
    // Classification: exactly these units and no others.
    static bool isLetter(char16_t ch) { return (ch >= u'A' && ch <= u'Z') || (ch >= u'a' && ch <= u'z'); }
    static bool isNumber(char16_t ch) { return ch >= u'0' && ch <= u'9'; }
    static bool isTAB(char16_t ch) { return ch == 0x09; }
    static bool isReturn(char16_t ch) { return ch == 0x0D || ch == 0x0A; }
    static bool isUnderline(char16_t ch) { return ch == u'_'; }
    static bool isConnectLine(char16_t ch) { return ch == u'-'; }
    // Space, tab, CR and LF only (not VT, FF or no-break space).
    static bool isBlank(char16_t ch) { return ch == 0x20 || ch == 0x09 || ch == 0x0D || ch == 0x0A; }

    // True when the first unit is '0'..'9'; a sign or a point does not count.
    static bool isNumberStart(const char16_t* text, unsigned int length);

    // --- zero-terminated texts ---------------------------------------------

    // Units before the terminator; 0 for null.
    static int strlen(const char16_t* text);
    // Copies with the terminator; null dst does nothing, null src writes "".
    static void strcpy(char16_t* dst, const char16_t* src);
    // Copies at most count units (stopping at src's terminator) and always
    // terminates, so dst needs count + 1 units.
    static void strncpy(char16_t* dst, const char16_t* src, unsigned int count);
    // Appends src; nothing when either is null.
    static void strcat(char16_t* dst, const char16_t* src);

    // -1, 0 or 1 over unsigned units; a prefix is less. Null equals "".
    static int strcmp(const char16_t* a, const char16_t* b);
    static int strcmpIC(const char16_t* a, const char16_t* b);
    // Exactly count units, no null check, no stop at a terminator; 0 is true.
    static bool strncmp(const char16_t* a, const char16_t* b, unsigned int count);
    static bool strncmpIC(const char16_t* a, const char16_t* b, unsigned int count);
    // Orders counted texts by their reversed unit sequences; on equal tails
    // the shorter text is the smaller. -1, 0 or 1.
    static int strrcmp(const char16_t* a, unsigned int lengthA, const char16_t* b, unsigned int lengthB);
    static int strrcmpIC(const char16_t* a, unsigned int lengthA, const char16_t* b, unsigned int lengthB);

    // Searches and tests: a null or empty text or pattern gives -1 / false.
    static int strstr(const char16_t* text, const char16_t* part);
    static int strstr_last(const char16_t* text, const char16_t* part);
    static bool strstart(const char16_t* text, const char16_t* prefix);
    static bool strstartIC(const char16_t* text, const char16_t* prefix);
    static bool strend(const char16_t* text, const char16_t* suffix);
    static bool strendIC(const char16_t* text, const char16_t* suffix);

    // --- counted texts -------------------------------------------------------

    static unsigned int charCount(const char16_t* text, unsigned int length, char16_t ch);
    static int findChar(const char16_t* text, unsigned int length, char16_t ch);
    static int findLastChar(const char16_t* text, unsigned int length, char16_t ch);
    // First occurrence of word in text, or -1. A negative length means the
    // zero-terminated length. With wholeWord, a match must not touch a word
    // character (letter, digit, '_' or '-') on a side where the word itself
    // begins or ends with one.
    static int findText(const char16_t* text, int textLength, const char16_t* word, int wordLength, bool matchCase,
                        bool wholeWord);
    static void setZero(char16_t* text, unsigned int length);
    // In-place case mapping over Latin-1, parts of Latin Extended and
    // Cyrillic, with the historical gaps of the library's tables.
    static void toUppercase(char16_t* text, unsigned int length);
    static void toLowercase(char16_t* text, unsigned int length);
    static void replace(char16_t* text, unsigned int length, char16_t from, char16_t to);

protected:
    CStringCore();
    CStringCore(const CStringCore&);
    virtual ~CStringCore();
};

} // namespace Trell

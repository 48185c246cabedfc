#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

namespace Trell {

// The library's one string type: an owned, zero-terminated buffer of 16-bit
// UTF-16 units and its length. A plain value with deep copies, no sharing and
// no spare capacity: every change of length builds a buffer of exactly the
// new size (from CMemory, given back with CMemory::free).
//
// Two empty states are distinct and observable: a null string (no buffer;
// isEmpty() is true; buffer() is null) and an empty string (a one-unit buffer
// holding the terminator). Both have length 0 and compare equal to u"".
// Callers that convert a CString to const char16_t* must accept null.
//
// Not synchronised: one object is used by one thread at a time.
class ECS_API CString : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CString")

public:
    // constexpr so that STRING_NULL is constant-initialised: it is usable
    // from any other static initialiser, in any order, and needs neither the
    // memory manager nor a dynamic initialiser of its own.
    constexpr CString() noexcept : CObject(), m_buffer(nullptr), m_length(0) {}
    constexpr CString(decltype(nullptr)) noexcept : CObject(), m_buffer(nullptr), m_length(0) {}
    // A null text gives a null string.
    CString(const char16_t* text);
    // The first min(count, strlen(text)) units; never a null string.
    CString(const char16_t* text, unsigned int count);
    // Deep copy. The CObject part is copied too, reference count included.
    CString(const CString& other);
    // Takes the other's buffer and leaves it null.
    CString(CString&& other) noexcept;
    // Marks the adopting constructor below.
    struct tagAdopt
    {
        TRELL_DECLARE_ALLOCATOR(u"CString::tagAdopt")
    };
    // Takes ownership of `buffer` as it is: it must come from CMemory::malloc
    // and hold exactly `length` units and a terminator. For readers that build
    // a text at its final size; inline so that they pay no call for it. A null
    // buffer gives a null string.
    CString(char16_t* buffer, unsigned int length, tagAdopt) noexcept
        : CObject(), m_buffer(buffer), m_length(buffer ? length : 0)
    {}
    // Decimal text of the value; bool gives "true" or "false".
    CString(int value);
    CString(unsigned int value);
    CString(long long value);
    CString(bool value);
    // Four digits after the point: 1.5f gives "1.5000".
    CString(float value);
    // Any other pointer (narrow text, a CString*) would otherwise silently
    // pick the bool constructor.
    template <typename T>
    CString(const T*) = delete;
    virtual ~CString();

    // Assignments behave as the matching constructor after freeing the old
    // buffer; assigning the own buffer does nothing. They change the text
    // only, never the reference count.
    CString& operator=(const char16_t* text);
    CString& operator=(decltype(nullptr))
    {
        empty();
        return *this;
    }
    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(int value);
    CString& operator=(unsigned int value);
    CString& operator=(long long value);
    CString& operator=(float value);
    CString& operator=(bool value);
    template <typename T>
    CString& operator=(const T*) = delete;

    // --- raw buffer access ---------------------------------------------------

    // Replaces the text with count units of text (stopping early at a zero);
    // the length is set to count whatever was copied.
    void fromBuffer(const char16_t* text, unsigned int count);
    // Copies min(size - 1, length) units and a terminator into out and
    // returns the count; 0 and nothing written for length 0 or size 0.
    unsigned int toBuffer(char16_t* out, unsigned int size) const;
    // Takes ownership of text, which must come from CMemory::malloc; a
    // negative length means strlen(text).
    void attach(char16_t* text, int length);
    // Hands the buffer (possibly null) to the caller and leaves a null string.
    char16_t* detach()
    {
        char16_t* buffer = m_buffer;
        m_buffer = nullptr;
        m_length = 0;
        return buffer;
    }
    const char16_t* buffer() const { return m_buffer; }
    operator const char16_t*() const { return m_buffer; }
    unsigned int length() const { return m_length; }

    // --- queries -------------------------------------------------------------

    // True for the null kind only.
    bool isEmpty() const { return m_buffer == nullptr; }
    // 0 when index >= length.
    char16_t charAt(unsigned int index) const;
    unsigned int charCount(char16_t ch) const;
    int indexOf(char16_t ch) const;
    // Searches from start (which must lie within the string); the result is
    // relative to the start of the whole string.
    int indexOf(const char16_t* text, unsigned int start = 0) const;
    int indexOf(const CString& text, unsigned int start = 0) const;
    int lastIndexOf(char16_t ch) const;
    int lastIndexOf(const char16_t* text) const;
    int lastIndexOf(const CString& text) const;
    // An empty prefix is false.
    bool startWith(const char16_t* prefix) const;
    bool startWith(const CString& prefix) const;
    bool startWithIC(const char16_t* prefix) const;
    bool startWithIC(const CString& prefix) const;
    // -1, 0 or 1; null equals empty. IC folds 'A'..'Z' only.
    int compare(const char16_t* text) const;
    int compare(const CString& text) const;
    int compareIC(const char16_t* text) const;
    int compareIC(const CString& text) const;
    // Orders by the reversed texts; on equal tails the shorter is smaller.
    int compareReverse(const CString& text) const;
    int compareReverseIC(const CString& text) const;
    bool operator==(const char16_t* text) const;
    bool operator==(const CString& text) const;
    bool operator!=(const char16_t* text) const;
    bool operator!=(const CString& text) const;
    // By compare(), so that ordering two strings never falls back to
    // comparing their buffer addresses through the pointer conversion.
    bool operator<(const CString& text) const { return compare(text) < 0; }
    bool operator>(const CString& text) const { return compare(text) > 0; }
    bool operator<=(const CString& text) const { return compare(text) <= 0; }
    bool operator>=(const CString& text) const { return compare(text) >= 0; }
    // False for a null or empty string; true when the first unit is a digit.
    bool isNumberStart() const;
    int toInt() const;
    unsigned int toUInt() const;
    long long toLLong() const;
    float toFloat() const;
    // True only for exactly "true".
    bool toBool() const;

    // --- editing -------------------------------------------------------------

    CString& append(const char16_t* text);
    // count 0 does nothing; count must not run past text's terminator.
    CString& append(const char16_t* text, unsigned int count);
    CString& append(const CString& text);
    // count 0 or past the end means up to the end; start >= length gives a
    // null string.
    CString subString(unsigned int start, unsigned int count) const;
    // In place, without reallocating.
    void deleteString(unsigned int start, unsigned int count);
    // pos >= length appends all of text (its own length, not count);
    // callers pass count equal to the length of text.
    void insertString(unsigned int pos, const char16_t* text, unsigned int count);
    void insertString(unsigned int pos, const char16_t* text);
    void insertString(unsigned int pos, const CString& text);
    void replace(char16_t from, char16_t to);
    // Writes ch when index <= length. Deliberate: index == length overwrites
    // the terminator; existing callers build strings that way.
    void replaceAt(unsigned int index, char16_t ch);
    void replaceFirst(const char16_t* from, const char16_t* to);
    // Non-overlapping, left to right: "aaa" with "aa" -> "b" gives "ba".
    void replaceAll(const char16_t* from, const char16_t* to);
    void toUppercase();
    void toLowercase();
    // Remove runs of ch; these always rebuild the buffer, so trimming a null
    // string leaves an empty one.
    CString& trim(char16_t ch);
    CString& trimStart(char16_t ch);
    CString& trimEnd(char16_t ch);
    // Removes blanks (space, tab, CR, LF); in place when nothing is removed.
    CString& trimBlank(bool atStart = true, bool atEnd = true);
    // The leading run of blanks, or a null string.
    CString getStartBlank() const;
    // Number of leading blanks (historical spelling kept).
    unsigned int getStarkBlankCount() const;
    // Both texts; two texts of length 0 give a null string.
    CString operator+(const char16_t* text) const;
    CString operator+(const CString& text) const;
    // Releases the buffer and leaves a null string.
    void empty();

private:
    void free();
    void innerTrim(char16_t ch, bool atStart, bool atEnd);
    // Buffer of units + 1 units with the terminator already written.
    static char16_t* allocUnits(unsigned int units);
    void adopt(char16_t* buffer, unsigned int length);

    char16_t* m_buffer;
    unsigned int m_length;
};

// Text on the left compares by content too, not by address through the
// pointer conversion.
inline bool operator==(const char16_t* text, const CString& string)
{
    return string == text;
}
inline bool operator!=(const char16_t* text, const CString& string)
{
    return string != text;
}

// The shared null string; constant-initialised (see the default constructor).
extern ECS_API const CString STRING_NULL;

} // namespace Trell

// A string key comes with its comparison records.
#include <text/CStringCompare.h>

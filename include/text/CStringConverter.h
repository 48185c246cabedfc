#pragma once

#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>

#include <cstdarg>

namespace Trell {

// Static routines that carry text across the library's borders: UTF-8,
// UTF-16 byte buffers and the system code page, numbers, lists of strings
// and printf-style formatting. Every routine is reentrant and thread-safe.
//
// The multi-byte code page ("chs") is GBK on every platform (with 0x80 as the
// euro sign, as code page 936 has it). Its table is built into the library,
// so it needs no locale and no converter module of the C library: it works
// the same in a minimal container, with musl and on Windows.
class ECS_API CStringConverter
{
    TRELL_DECLARE_ALLOCATOR(u"CStringConverter")

public:
    // ---- Encodings -------------------------------------------------------

    /// Encodes `text` as UTF-8 into `out` (`size` bytes), always terminated.
    /// Surrogates are not paired (each becomes its own 3-byte sequence);
    /// only whole sequences that leave room for the terminator are written.
    /// `*written` (if given) receives the byte count before the terminator.
    static void convertToUTF8(const char16_t* text, unsigned char* out, unsigned int size,
                              unsigned int* written = nullptr);
    static void convertToUTF8(const CString& text, unsigned char* out, unsigned int size,
                              unsigned int* written = nullptr);

    /// Decodes zero-terminated UTF-8. Malformed input never fails: stray
    /// continuation bytes are dropped, a sequence cut by the terminator ends
    /// the text, 4-byte sequences keep their first three bytes. A null
    /// `bytes` makes `out` a null string.
    static void convertFromUTF8(const unsigned char* bytes, CString& out);

    /// Zero-fills `size` bytes of `out`, then copies whole code units in
    /// machine byte order while they fit; no terminator when the text fills it.
    static void convertToUTF16(const char16_t* text, unsigned char* out, unsigned int size);
    static void convertToUTF16(const CString& text, unsigned char* out, unsigned int size);

    /// Takes `size / 2` code units from `bytes`; null `bytes` or `size` 0
    /// leaves `out` unchanged.
    static void convertFromUTF16(const unsigned char* bytes, unsigned int size, CString& out);

    /// GBK ("chs") conversions. `convertToMBCS` zero-fills `out` and writes
    /// at most `size - 1` bytes, never half a character; a unit without a GBK
    /// form leaves `out` all zero. `convertFromMBCS` gives an empty string for
    /// invalid input and a null string for a null `bytes`.
    static void convertToMBCS(const char16_t* text, char* out, unsigned int size);
    static void convertToMBCS(const CString& text, char* out, unsigned int size);
    static void convertFromMBCS(const char* bytes, CString& out);

    // ---- Numbers from text ------------------------------------------------
    // No white space is skipped and '+' is not accepted; values wrap.

    static int toInt(const char16_t* text);
    static int toInt(const unsigned char* text);
    static unsigned int toUInt(const char16_t* text);
    static unsigned int toUInt(const unsigned char* text);
    static long long toLLong(const char16_t* text);
    static long long toLLong(const unsigned char* text);
    static float toFloat(const char16_t* text);
    static float toFloat(const unsigned char* text);
    /// True only for exactly "true".
    static bool toBool(const char16_t* text);
    static bool toBool(const unsigned char* text);

    // ---- Numbers to text ---------------------------------------------------
    // The caller supplies a zero-filled buffer (24 units cover every integer,
    // 32 a float); the integer routines write no terminator of their own.
    // Each returns the number of units written.

    static unsigned int toString(int value, char16_t* out);
    static unsigned int toString(unsigned int value, char16_t* out);
    static unsigned int toString(long long value, char16_t* out);
    /// "%.<precision>f", limited to 32 units including the terminator.
    static unsigned int toString(float value, char16_t* out, unsigned int precision = 4);
    static unsigned int toString(bool value, char16_t* out);

    // ---- Formatting ---------------------------------------------------------
    // The library's own formatter over char16_t: "%s" and "%ls" both take a
    // const char16_t* (null prints "(null)"), "%c" and "%lc" a char16_t unit
    // passed as int. Supports d i u o x X c s f F e E g G a A p %, the flags
    // "-+ #0", width and precision (also '*'), and hh h l ll j z t L.

    /// Exact-size result; a null format or an invalid conversion gives an
    /// empty string.
    static CString format(const char16_t* format, ...);
    static CString formatV(const char16_t* format, va_list args);

    /// Writes the formatted text to standard output: as UTF-8, or as wide
    /// characters once the host made stdout wide-oriented (wprintf); a null
    /// format does nothing.
    static void printf(const char16_t* format, ...);
    static void printfV(const char16_t* format, va_list args);

    // ---- Lists ------------------------------------------------------------
    // Items are appended; the container is not cleared first.

    static void separateString(const CString& text, char16_t separator, CDataArray<CString>& items,
                               bool keepFirstEmpty = false, bool keepLastEmpty = false);
    static void separateString(const CString& text, char16_t separator, CDataList<CString>& items,
                               bool keepFirstEmpty = false, bool keepLastEmpty = false);
    /// Each piece is converted with toUInt.
    static void separateString(const CString& text, char16_t separator, CDataArray<unsigned int>& items,
                               bool keepFirstEmpty = false, bool keepLastEmpty = false);
    /// A unit separates when it equals any element of `separators`.
    static void split(const CString& text, const CDataArray<char16_t>& separators, CDataArray<CString>& items,
                      bool keepFirstEmpty = false, bool keepLastEmpty = false);

    /// Joins with one separator between neighbours; an empty list gives an
    /// empty (non-null) string.
    static void mergeString(const CDataArray<CString>& items, char16_t separator, CString& out);
    static void mergeString(const CDataList<CString>& items, char16_t separator, CString& out);
    static void mergeString(const CDataArray<unsigned int>& items, char16_t separator, CString& out);

    // ---- Character escaping ---------------------------------------------------
    // A table of `count` entries: unit chars[k] <-> replacements[k] of
    // replacementLengths[k] units. The first matching entry in table order
    // wins; on decoding, an entry with an empty replacement never matches.
    // A null text gives a null string.

    static void encodeChars(const char16_t* text, unsigned int length, unsigned int count, const char16_t* chars,
                            const char16_t* const* replacements, const unsigned int* replacementLengths, CString& out);
    static void encodeChars(const CString& text, unsigned int count, const char16_t* chars,
                            const char16_t* const* replacements, const unsigned int* replacementLengths, CString& out);
    static void decodeChars(const char16_t* text, unsigned int length, unsigned int count, const char16_t* chars,
                            const char16_t* const* replacements, const unsigned int* replacementLengths, CString& out);
    static void decodeChars(const CString& text, unsigned int count, const char16_t* chars,
                            const char16_t* const* replacements, const unsigned int* replacementLengths, CString& out);

protected:
    CStringConverter();
    CStringConverter(const CStringConverter&);
    virtual ~CStringConverter();
};

} // namespace Trell

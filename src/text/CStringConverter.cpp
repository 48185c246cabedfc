#include <text/CStringConverter.h>

#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <text/CString.h>
#include <text/Utf8Codec.h>
#include "text/CodePage.h"

#include <cstring>

namespace Trell {

namespace {

char16_t* allocUnits(unsigned int units)
{
    return static_cast<char16_t*>(CMemory::malloc(units * static_cast<unsigned int>(sizeof(char16_t)), 0));
}

// An empty (one-unit) string, distinct from the null string.
void makeEmpty(CString& out)
{
    char16_t* buffer = allocUnits(1);
    if (buffer != nullptr) {
        buffer[0] = 0;
    }
    out.attach(buffer, 0);
}

void attachCopy(CString& out, const char16_t* text, unsigned int count)
{
    char16_t* buffer = allocUnits(count + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    std::memcpy(buffer, text, count * sizeof(char16_t));
    buffer[count] = 0;
    out.attach(buffer, static_cast<int>(count));
}

// Decimal digits of a number into a small buffer; returns the count.
unsigned int decimal(unsigned int value, char16_t* digits)
{
    return CStringConverter::toString(value, digits);
}

// One piece of a separated text becomes one item of the container.
struct tagStringSink
{
    TRELL_DECLARE_ALLOCATOR(u"tagStringSink")

    explicit tagStringSink(CDataArray<CString>& items) : m_pArray(&items), m_pList(nullptr) {}
    explicit tagStringSink(CDataList<CString>& items) : m_pArray(nullptr), m_pList(&items) {}

    void add(const char16_t* text, unsigned int count)
    {
        CString item;
        attachCopy(item, text, count);
        if (m_pArray != nullptr) {
            m_pArray->add(item);
        } else {
            m_pList->add(item);
        }
    }

    CDataArray<CString>* m_pArray;
    CDataList<CString>* m_pList;
};

struct tagNumberSink
{
    TRELL_DECLARE_ALLOCATOR(u"tagNumberSink")

    explicit tagNumberSink(CDataArray<unsigned int>& items) : m_pArray(&items) {}

    void add(const char16_t* text, unsigned int count)
    {
        // toUInt reads hex up to the terminator, so each piece is parsed
        // from its own terminated copy, never from the rest of the text.
        char16_t local[64];
        char16_t* piece = count < 64 ? local : allocUnits(count + 1);
        if (piece == nullptr) {
            m_pArray->add(0u);
            return;
        }
        std::memcpy(piece, text, count * sizeof(char16_t));
        piece[count] = 0;
        m_pArray->add(CStringConverter::toUInt(piece));
        if (piece != local) {
            CMemory::free(piece);
        }
    }

    CDataArray<unsigned int>* m_pArray;
};

template <typename IsSeparator, typename Sink>
void separate(const CString& text, IsSeparator isSeparator, Sink& sink, bool keepFirstEmpty, bool keepLastEmpty)
{
    const char16_t* buffer = text.buffer();
    const unsigned int length = text.length();
    if (buffer == nullptr || length == 0) {
        return;
    }
    unsigned int start = 0;
    if (isSeparator(buffer[0])) {
        if (keepFirstEmpty) {
            sink.add(buffer, 0);
        }
        start = 1;
    }
    for (unsigned int i = start; i < length; ++i) {
        if (isSeparator(buffer[i])) {
            sink.add(buffer + start, i - start);
            start = i + 1;
        }
    }
    if (start < length) {
        sink.add(buffer + start, length - start);
    }
    if (keepLastEmpty && isSeparator(buffer[length - 1])) {
        sink.add(buffer + length, 0);
    }
}

template <typename Container>
void mergeStrings(const Container& items, char16_t separator, CString& out)
{
    const unsigned int count = items.getCount();
    if (count == 0) {
        makeEmpty(out);
        return;
    }
    unsigned int total = count - 1;
    for (const CString& item : items) {
        total += item.length();
    }
    char16_t* buffer = allocUnits(total + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    unsigned int o = 0;
    bool first = true;
    for (const CString& item : items) {
        if (!first) {
            buffer[o++] = separator;
        }
        first = false;
        if (item.length() != 0) {
            std::memcpy(buffer + o, item.buffer(), item.length() * sizeof(char16_t));
            o += item.length();
        }
    }
    buffer[o] = 0;
    out.attach(buffer, static_cast<int>(o));
}

} // namespace

// ---- Encodings -------------------------------------------------------------

void CStringConverter::convertToUTF8(const char16_t* text, unsigned char* out, unsigned int size, unsigned int* written)
{
    if (written != nullptr) {
        *written = 0;
    }
    if (text == nullptr || out == nullptr || size == 0) {
        return;
    }
    const unsigned int n = Utf8Codec::encode(text, out, size - 1);
    out[n] = 0;
    if (written != nullptr) {
        *written = n;
    }
}

void CStringConverter::convertToUTF8(const CString& text, unsigned char* out, unsigned int size, unsigned int* written)
{
    convertToUTF8(text.buffer(), out, size, written);
}

void CStringConverter::convertFromUTF8(const unsigned char* bytes, CString& out)
{
    if (bytes == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    const unsigned int count = static_cast<unsigned int>(std::strlen(reinterpret_cast<const char*>(bytes)));
    // Room for one unit per byte: every unit consumes at least one byte.
    char16_t* buffer = allocUnits(count + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    const unsigned int units = Utf8Codec::decode(bytes, count, buffer);
    buffer[units] = 0;
    out.attach(buffer, static_cast<int>(units));
}

void CStringConverter::convertToUTF16(const char16_t* text, unsigned char* out, unsigned int size)
{
    if (out == nullptr || size == 0) {
        return;
    }
    std::memset(out, 0, size);
    if (text == nullptr) {
        return;
    }
    const unsigned int room = size / 2;
    unsigned int n = 0;
    while (n < room && text[n] != 0) {
        ++n;
    }
    std::memcpy(out, text, n * sizeof(char16_t));
}

void CStringConverter::convertToUTF16(const CString& text, unsigned char* out, unsigned int size)
{
    convertToUTF16(text.buffer(), out, size);
}

void CStringConverter::convertFromUTF16(const unsigned char* bytes, unsigned int size, CString& out)
{
    if (bytes == nullptr || size == 0) {
        return;
    }
    // The byte buffer may be unaligned, hence the copy rather than a cast.
    const unsigned int units = size / 2;
    char16_t* buffer = allocUnits(units + 1);
    if (buffer == nullptr) {
        return;
    }
    std::memcpy(buffer, bytes, units * sizeof(char16_t));
    buffer[units] = 0;
    out.attach(buffer, static_cast<int>(units));
}

void CStringConverter::convertToMBCS(const char16_t* text, char* out, unsigned int size)
{
    if (out == nullptr || size == 0) {
        return;
    }
    std::memset(out, 0, size);
    if (text == nullptr) {
        return;
    }
    // A unit without a GBK form fails the whole conversion and leaves the
    // zeroed buffer, as the C library's conversion does.
    if (CodePage::fromUnicode(text, out, size - 1) < 0) {
        std::memset(out, 0, size);
    }
}

void CStringConverter::convertToMBCS(const CString& text, char* out, unsigned int size)
{
    convertToMBCS(text.buffer(), out, size);
}

void CStringConverter::convertFromMBCS(const char* bytes, CString& out)
{
    if (bytes == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    const unsigned int count = static_cast<unsigned int>(std::strlen(bytes));
    char16_t* buffer = allocUnits(count + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    // An invalid byte sequence gives an empty string, as the C library's
    // conversion does.
    const int units = CodePage::toUnicode(bytes, count, buffer, count);
    buffer[units < 0 ? 0 : units] = 0;
    out.attach(buffer, -1);
}

// ---- Lists -------------------------------------------------------------------

void CStringConverter::separateString(const CString& text, char16_t separator, CDataArray<CString>& items,
                                      bool keepFirstEmpty, bool keepLastEmpty)
{
    tagStringSink sink(items);
    separate(
        text, [separator](char16_t c) { return c == separator; }, sink, keepFirstEmpty, keepLastEmpty);
}

void CStringConverter::separateString(const CString& text, char16_t separator, CDataList<CString>& items,
                                      bool keepFirstEmpty, bool keepLastEmpty)
{
    tagStringSink sink(items);
    separate(
        text, [separator](char16_t c) { return c == separator; }, sink, keepFirstEmpty, keepLastEmpty);
}

void CStringConverter::separateString(const CString& text, char16_t separator, CDataArray<unsigned int>& items,
                                      bool keepFirstEmpty, bool keepLastEmpty)
{
    tagNumberSink sink(items);
    separate(
        text, [separator](char16_t c) { return c == separator; }, sink, keepFirstEmpty, keepLastEmpty);
}

void CStringConverter::split(const CString& text, const CDataArray<char16_t>& separators, CDataArray<CString>& items,
                             bool keepFirstEmpty, bool keepLastEmpty)
{
    tagStringSink sink(items);
    const char16_t* set = separators.getCount() != 0 ? &separators[0] : nullptr;
    const unsigned int setCount = separators.getCount();
    auto isSeparator = [set, setCount](char16_t c) {
        for (unsigned int k = 0; k < setCount; ++k) {
            if (set[k] == c) {
                return true;
            }
        }
        return false;
    };
    separate(text, isSeparator, sink, keepFirstEmpty, keepLastEmpty);
}

void CStringConverter::mergeString(const CDataArray<CString>& items, char16_t separator, CString& out)
{
    mergeStrings(items, separator, out);
}

void CStringConverter::mergeString(const CDataList<CString>& items, char16_t separator, CString& out)
{
    mergeStrings(items, separator, out);
}

void CStringConverter::mergeString(const CDataArray<unsigned int>& items, char16_t separator, CString& out)
{
    const unsigned int count = items.getCount();
    if (count == 0) {
        makeEmpty(out);
        return;
    }
    char16_t digits[16];
    unsigned int total = count - 1;
    for (unsigned int value : items) {
        total += decimal(value, digits);
    }
    char16_t* buffer = allocUnits(total + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    unsigned int o = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (i != 0) {
            buffer[o++] = separator;
        }
        o += decimal(items[i], buffer + o);
    }
    buffer[o] = 0;
    out.attach(buffer, static_cast<int>(o));
}

// ---- Character escaping ---------------------------------------------------------

void CStringConverter::encodeChars(const char16_t* text, unsigned int length, unsigned int count, const char16_t* chars,
                                   const char16_t* const* replacements, const unsigned int* replacementLengths,
                                   CString& out)
{
    if (text == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    if (chars == nullptr || replacements == nullptr || replacementLengths == nullptr) {
        count = 0;
    }
    auto entryOf = [&](char16_t c) -> int {
        for (unsigned int k = 0; k < count; ++k) {
            if (chars[k] == c) {
                return static_cast<int>(k);
            }
        }
        return -1;
    };
    unsigned int total = 0;
    for (unsigned int i = 0; i < length; ++i) {
        const int k = entryOf(text[i]);
        total += k < 0 ? 1u : replacementLengths[k];
    }
    char16_t* buffer = allocUnits(total + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    unsigned int o = 0;
    for (unsigned int i = 0; i < length; ++i) {
        const int k = entryOf(text[i]);
        if (k < 0) {
            buffer[o++] = text[i];
        } else if (replacementLengths[k] != 0) {
            std::memcpy(buffer + o, replacements[k], replacementLengths[k] * sizeof(char16_t));
            o += replacementLengths[k];
        }
    }
    buffer[o] = 0;
    out.attach(buffer, static_cast<int>(o));
}

void CStringConverter::encodeChars(const CString& text, unsigned int count, const char16_t* chars,
                                   const char16_t* const* replacements, const unsigned int* replacementLengths,
                                   CString& out)
{
    encodeChars(text.buffer(), text.length(), count, chars, replacements, replacementLengths, out);
}

void CStringConverter::decodeChars(const char16_t* text, unsigned int length, unsigned int count, const char16_t* chars,
                                   const char16_t* const* replacements, const unsigned int* replacementLengths,
                                   CString& out)
{
    if (text == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    if (chars == nullptr || replacements == nullptr || replacementLengths == nullptr) {
        count = 0;
    }
    char16_t* buffer = allocUnits(length + 1);
    if (buffer == nullptr) {
        out.attach(nullptr, 0);
        return;
    }
    unsigned int o = 0;
    unsigned int i = 0;
    while (i < length) {
        bool matched = false;
        for (unsigned int k = 0; k < count; ++k) {
            const unsigned int n = replacementLengths[k];
            // An empty replacement would match everywhere without consuming
            // anything, so it never matches on the way back.
            if (n != 0 && n <= length - i && std::memcmp(text + i, replacements[k], n * sizeof(char16_t)) == 0) {
                buffer[o++] = chars[k];
                i += n;
                matched = true;
                break;
            }
        }
        if (!matched) {
            buffer[o++] = text[i++];
        }
    }
    buffer[o] = 0;
    out.attach(buffer, static_cast<int>(o));
}

void CStringConverter::decodeChars(const CString& text, unsigned int count, const char16_t* chars,
                                   const char16_t* const* replacements, const unsigned int* replacementLengths,
                                   CString& out)
{
    decodeChars(text.buffer(), text.length(), count, chars, replacements, replacementLengths, out);
}

} // namespace Trell

#include "Console.h"

#include <foundation/CMemory.h>

#include <cstdarg>
#include <cstdio>
#include <cwchar>

namespace Trell {
namespace Console {

namespace {

constexpr char32_t REPLACEMENT_CHARACTER = 0xFFFD;

// Collects characters and writes them to stdout in its orientation, a
// buffer at a time; flushes the stream when it goes.
class CConsoleSink
{
    TRELL_DECLARE_ALLOCATOR(u"Console::CConsoleSink")

public:
    // fwide with 0 only asks: an unoriented stream stays unoriented until
    // the first write, which then makes it byte-oriented as before.
    CConsoleSink() : m_bWide(std::fwide(stdout, 0) > 0) {}
    ~CConsoleSink()
    {
        flush();
        std::fflush(stdout);
    }
    CConsoleSink(const CConsoleSink&) = delete;
    CConsoleSink& operator=(const CConsoleSink&) = delete;

    void put(char32_t c)
    {
        if (m_bWide)
            putWide(c);
        else
            putUtf8(c);
    }

private:
    void putWide(char32_t c)
    {
        // Characters, not bytes: the stream converts them with the host's
        // locale. A 16-bit wchar_t takes a pair again.
        if (sizeof(wchar_t) < 4 && c >= 0x10000) {
            c -= 0x10000;
            std::fputwc(static_cast<wchar_t>(0xD800 + (c >> 10)), stdout);
            std::fputwc(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)), stdout);
        } else {
            std::fputwc(static_cast<wchar_t>(c), stdout);
        }
    }

    void putUtf8(char32_t c)
    {
        if (m_uiUsed + 4 > sizeof(m_bytes))
            flush();
        m_uiUsed += static_cast<unsigned int>(encodeUtf8(c, m_bytes + m_uiUsed));
    }

    void flush()
    {
        if (m_uiUsed)
            std::fwrite(m_bytes, 1, m_uiUsed, stdout);
        m_uiUsed = 0;
    }

public:
    static std::size_t encodeUtf8(char32_t c, char* out)
    {
        if (c < 0x80) {
            out[0] = static_cast<char>(c);
            return 1;
        }
        if (c < 0x800) {
            out[0] = static_cast<char>(0xC0 | (c >> 6));
            out[1] = static_cast<char>(0x80 | (c & 0x3F));
            return 2;
        }
        if (c < 0x10000) {
            out[0] = static_cast<char>(0xE0 | (c >> 12));
            out[1] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out[2] = static_cast<char>(0x80 | (c & 0x3F));
            return 3;
        }
        out[0] = static_cast<char>(0xF0 | (c >> 18));
        out[1] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out[2] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out[3] = static_cast<char>(0x80 | (c & 0x3F));
        return 4;
    }

private:
    bool m_bWide;
    unsigned int m_uiUsed = 0;
    char m_bytes[256];
};

// The character at text[*i] (advancing *i past a surrogate pair).
char32_t decodeUtf16(const char16_t* text, std::size_t length, std::size_t* i)
{
    const char32_t c = text[*i];
    if (c >= 0xD800 && c <= 0xDBFF && *i + 1 < length && text[*i + 1] >= 0xDC00 && text[*i + 1] <= 0xDFFF) {
        ++*i;
        return 0x10000 + ((c - 0xD800) << 10) + (text[*i] - 0xDC00);
    }
    return (c >= 0xD800 && c <= 0xDFFF) ? REPLACEMENT_CHARACTER : c;
}

// The character starting at bytes[*i] (advancing *i past its continuation
// bytes); malformed input becomes U+FFFD a byte at a time.
char32_t decodeUtf8(const unsigned char* bytes, std::size_t length, std::size_t* i)
{
    const unsigned char lead = bytes[*i];
    if (lead < 0x80)
        return lead;
    const std::size_t count = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
    if (count == 0 || lead >= 0xF8 || *i + count >= length)
        return REPLACEMENT_CHARACTER;
    char32_t c = lead & (0x3F >> count);
    for (std::size_t k = 1; k <= count; ++k) {
        if ((bytes[*i + k] & 0xC0) != 0x80)
            return REPLACEMENT_CHARACTER;
        c = (c << 6) | (bytes[*i + k] & 0x3F);
    }
    *i += count;
    return c;
}

} // namespace

void writeUtf16(const char16_t* text, std::size_t length) noexcept
{
    if (!text)
        return;
    CConsoleSink sink;
    for (std::size_t i = 0; i < length; ++i)
        sink.put(decodeUtf16(text, length, &i));
}

void writeUtf8(const char* text, std::size_t length) noexcept
{
    if (!text)
        return;
    if (std::fwide(stdout, 0) <= 0) {
        // Already UTF-8: as it is.
        std::fwrite(text, 1, length, stdout);
        std::fflush(stdout);
        return;
    }
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    CConsoleSink sink;
    for (std::size_t i = 0; i < length; ++i)
        sink.put(decodeUtf8(bytes, length, &i));
}

void printf(const char* format, ...) noexcept
{
    char line[512];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    if (length < 0)
        return;
    writeUtf8(line,
              static_cast<std::size_t>(length) < sizeof(line) ? static_cast<std::size_t>(length) : sizeof(line) - 1);
}

std::size_t appendUtf8(char* out, std::size_t size, std::size_t length, const char16_t* text) noexcept
{
    if (!text || size == 0)
        return length;
    std::size_t units = 0;
    while (text[units])
        ++units;
    for (std::size_t i = 0; i < units; ++i) {
        char bytes[4];
        const std::size_t count = CConsoleSink::encodeUtf8(decodeUtf16(text, units, &i), bytes);
        if (length + count >= size)
            break;
        for (std::size_t b = 0; b < count; ++b)
            out[length++] = bytes[b];
    }
    out[length] = 0;
    return length;
}

} // namespace Console
} // namespace Trell

#include <text/CStringConverter.h>

#include <text/CString.h>
#include <text/Utf8Codec.h>

#include "foundation/Console.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// The formatter is the library's own, over char16_t: the C library's wide
// formatter depends on the width of wchar_t and on the process locale, and
// neither is fixed across the library's platforms. The digits of floating
// conversions come from snprintf, which rounds them exactly, except for the
// common "%f" cases, which are computed exactly here.

namespace Trell {

namespace {

// Output accumulates in a stack buffer and moves to the heap when it grows
// past it; any allocation failure marks the whole result as failed.
class CFormatSink
{
    TRELL_DECLARE_ALLOCATOR(u"CFormatSink")

public:
    CFormatSink() : m_pData(m_local), m_uiLength(0), m_uiCapacity(LOCAL_UNITS), m_bFailed(false) {}
    ~CFormatSink()
    {
        if (m_pData != m_local) {
            CMemory::free(m_pData);
        }
    }

    // Makes room for `extra` more units and returns where they go, or null.
    char16_t* reserve(std::size_t extra)
    {
        if (extra <= m_uiCapacity - m_uiLength) {
            return m_pData + m_uiLength;
        }
        if (m_bFailed) {
            return nullptr;
        }
        std::size_t needed = static_cast<std::size_t>(m_uiLength) + extra + 1;
        std::size_t capacity = static_cast<std::size_t>(m_uiCapacity) * 2;
        if (capacity < needed) {
            capacity = needed;
        }
        // Lengths are unsigned int throughout the library, and a unit count
        // must still fit in bytes.
        if (needed > MAX_UNITS) {
            m_bFailed = true;
            return nullptr;
        }
        if (capacity > MAX_UNITS) {
            capacity = MAX_UNITS;
        }
        char16_t* data =
            static_cast<char16_t*>(CMemory::malloc(static_cast<unsigned int>(capacity * sizeof(char16_t)), 0));
        if (data == nullptr) {
            m_bFailed = true;
            return nullptr;
        }
        std::memcpy(data, m_pData, m_uiLength * sizeof(char16_t));
        if (m_pData != m_local) {
            CMemory::free(m_pData);
        }
        m_pData = data;
        m_uiCapacity = static_cast<unsigned int>(capacity);
        return m_pData + m_uiLength;
    }

    void commit(std::size_t count) { m_uiLength += static_cast<unsigned int>(count); }

    void put(const char16_t* text, std::size_t count)
    {
        char16_t* dst = reserve(count);
        if (dst != nullptr) {
            std::memcpy(dst, text, count * sizeof(char16_t));
            commit(count);
        }
    }

    void fill(char16_t unit, std::size_t count)
    {
        char16_t* dst = reserve(count);
        if (dst != nullptr) {
            for (std::size_t i = 0; i < count; ++i) {
                dst[i] = unit;
            }
            commit(count);
        }
    }

    void fail() { m_bFailed = true; }
    bool failed() const { return m_bFailed; }
    const char16_t* data() const { return m_pData; }
    unsigned int length() const { return m_uiLength; }

private:
    static constexpr unsigned int LOCAL_UNITS = 256;
    static constexpr std::size_t MAX_UNITS = 0x3FFFFFFFu;

    char16_t* m_pData;
    unsigned int m_uiLength;
    unsigned int m_uiCapacity;
    bool m_bFailed;
    char16_t m_local[LOCAL_UNITS];
};

enum ELength
{
    LENGTH_NONE,
    LENGTH_HH,
    LENGTH_H,
    LENGTH_L,
    LENGTH_LL,
    LENGTH_J,
    LENGTH_Z,
    LENGTH_T,
    LENGTH_BIG_L
};

struct tagConversion
{
    TRELL_DECLARE_ALLOCATOR(u"tagConversion")

    bool left = false;
    bool plus = false;
    bool space = false;
    bool alt = false;
    bool zero = false;
    int width = 0;
    int precision = -1; // -1: none given
    ELength length = LENGTH_NONE;
};

const char s_digitPairs[] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                            "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                            "8081828384858687888990919293949596979899";

// Writes the digits of `value` ending just before `end`; returns the count.
unsigned int digitsOf(unsigned long long value, unsigned int base, bool upper, char16_t* end)
{
    char16_t* p = end;
    if (base == 10) {
        while (value >= 100) {
            const unsigned int pair = static_cast<unsigned int>(value % 100) * 2;
            value /= 100;
            *--p = static_cast<char16_t>(s_digitPairs[pair + 1]);
            *--p = static_cast<char16_t>(s_digitPairs[pair]);
        }
        if (value >= 10) {
            const unsigned int pair = static_cast<unsigned int>(value) * 2;
            *--p = static_cast<char16_t>(s_digitPairs[pair + 1]);
            *--p = static_cast<char16_t>(s_digitPairs[pair]);
        } else {
            *--p = static_cast<char16_t>(u'0' + value);
        }
    } else if (base == 16) {
        const char* hex = upper ? "0123456789ABCDEF" : "0123456789abcdef";
        do {
            *--p = static_cast<char16_t>(hex[value & 0xF]);
            value >>= 4;
        } while (value != 0);
    } else {
        do {
            *--p = static_cast<char16_t>(u'0' + (value & 7));
            value >>= 3;
        } while (value != 0);
    }
    return static_cast<unsigned int>(end - p);
}

// Lays out [spaces][prefix][zeros][body][spaces] for a field of `width`.
void emitField(CFormatSink& sink, const tagConversion& conv, const char16_t* prefix, unsigned int prefixLength,
               unsigned int zeros, const char16_t* body, unsigned int bodyLength, bool zeroPad)
{
    const std::size_t content = static_cast<std::size_t>(prefixLength) + zeros + bodyLength;
    const std::size_t width = static_cast<std::size_t>(conv.width);
    const std::size_t pad = width > content ? width - content : 0;
    char16_t* dst = sink.reserve(content + pad);
    if (dst == nullptr) {
        return;
    }
    char16_t* p = dst;
    if (pad != 0 && !conv.left && !zeroPad) {
        for (std::size_t i = 0; i < pad; ++i) {
            *p++ = u' ';
        }
    }
    for (unsigned int i = 0; i < prefixLength; ++i) {
        *p++ = prefix[i];
    }
    if (pad != 0 && !conv.left && zeroPad) {
        for (std::size_t i = 0; i < pad; ++i) {
            *p++ = u'0';
        }
    }
    for (unsigned int i = 0; i < zeros; ++i) {
        *p++ = u'0';
    }
    std::memcpy(p, body, bodyLength * sizeof(char16_t));
    p += bodyLength;
    if (pad != 0 && conv.left) {
        for (std::size_t i = 0; i < pad; ++i) {
            *p++ = u' ';
        }
    }
    sink.commit(static_cast<std::size_t>(p - dst));
}

void emitInteger(CFormatSink& sink, const tagConversion& conv, unsigned long long magnitude, bool negative,
                 bool isSigned, unsigned int base, bool upper)
{
    char16_t digits[32];
    char16_t* end = digits + 32;
    unsigned int count = 0;
    // Precision 0 with the value 0 prints no digits at all.
    if (!(conv.precision == 0 && magnitude == 0)) {
        count = digitsOf(magnitude, base, upper, end);
    }
    unsigned int zeros = 0;
    if (conv.precision > 0 && static_cast<unsigned int>(conv.precision) > count) {
        zeros = static_cast<unsigned int>(conv.precision) - count;
    }
    // '#' with octal raises the precision just enough to lead with a zero.
    if (base == 8 && conv.alt && zeros == 0 && (count == 0 || end[-static_cast<int>(count)] != u'0')) {
        zeros = 1;
    }
    char16_t prefix[2] = {0, 0};
    unsigned int prefixLength = 0;
    if (isSigned) {
        if (negative) {
            prefix[prefixLength++] = u'-';
        } else if (conv.plus) {
            prefix[prefixLength++] = u'+';
        } else if (conv.space) {
            prefix[prefixLength++] = u' ';
        }
    } else if (base == 16 && conv.alt && magnitude != 0) {
        prefix[prefixLength++] = u'0';
        prefix[prefixLength++] = upper ? u'X' : u'x';
    }
    const bool zeroPad = conv.zero && !conv.left && conv.precision < 0;
    emitField(sink, conv, prefix, prefixLength, zeros, end - count, count, zeroPad);
}

void emitText(CFormatSink& sink, const tagConversion& conv, const char16_t* text, std::size_t maxUnits)
{
    std::size_t n = 0;
    while (n < maxUnits && text[n] != 0) {
        ++n;
    }
    if (n > 0x3FFFFFFFu) {
        sink.fail();
        return;
    }
    emitField(sink, conv, nullptr, 0, 0, text, static_cast<unsigned int>(n), false);
}

template <unsigned int N>
void emitAscii(CFormatSink& sink, const tagConversion& conv, const char (&text)[N])
{
    char16_t wide[N];
    for (unsigned int i = 0; i < N; ++i) {
        wide[i] = static_cast<char16_t>(text[i]);
    }
    emitField(sink, conv, nullptr, 0, 0, wide, N - 1, false);
}

const std::uint64_t s_powersOfTen[20] = {1ull,
                                         10ull,
                                         100ull,
                                         1000ull,
                                         10000ull,
                                         100000ull,
                                         1000000ull,
                                         10000000ull,
                                         100000000ull,
                                         1000000000ull,
                                         10000000000ull,
                                         100000000000ull,
                                         1000000000000ull,
                                         10000000000000ull,
                                         100000000000000ull,
                                         1000000000000000ull,
                                         10000000000000000ull,
                                         100000000000000000ull,
                                         1000000000000000000ull,
                                         10000000000000000000ull};

// "%f" of a double whose scaled value fits in 64 bits, without snprintf:
// the binary value times 10^precision is formed exactly in 128 bits and
// rounded half-to-even, which is what the C library prints in its default
// rounding mode. Returns the length, or -1 to leave the case to snprintf.
int fixedDigits(const tagConversion& conv, char16_t kind, double value, char* out)
{
#if defined(__SIZEOF_INT128__)
    const int precision = conv.precision < 0 ? 6 : conv.precision;
    if ((kind != u'f' && kind != u'F') || precision > 19 || !(value > -1e19 && value < 1e19)) {
        return -1;
    }
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof(bits));
    const bool negative = (bits >> 63) != 0;
    int exponent = static_cast<int>((bits >> 52) & 0x7FF);
    std::uint64_t mantissa = bits & ((1ull << 52) - 1);
    if (exponent == 0) {
        exponent = 1; // subnormal
    } else {
        mantissa |= 1ull << 52;
    }
    const int shift = exponent - 1075; // value = mantissa * 2^shift
    using U128 = unsigned __int128;
    U128 scaled = static_cast<U128>(mantissa) * s_powersOfTen[precision];
    std::uint64_t q;
    if (shift >= 0) {
        scaled <<= shift; // |value| < 1e19, so this stays below 2^127
        if ((scaled >> 64) != 0) {
            return -1;
        }
        q = static_cast<std::uint64_t>(scaled);
    } else if (-shift >= 128) {
        q = 0; // far below half a unit of the last digit
    } else {
        const int s = -shift;
        const U128 quotient = scaled >> s;
        if ((quotient >> 64) != 0) {
            return -1;
        }
        const U128 remainder = scaled - (quotient << s);
        const U128 half = static_cast<U128>(1) << (s - 1);
        q = static_cast<std::uint64_t>(quotient);
        if (remainder > half || (remainder == half && (q & 1) != 0)) {
            if (q == ~0ull) {
                return -1;
            }
            ++q;
        }
    }
    int n = 0;
    if (negative) {
        out[n++] = '-';
    } else if (conv.plus) {
        out[n++] = '+';
    } else if (conv.space) {
        out[n++] = ' ';
    }
    const std::uint64_t whole = q / s_powersOfTen[precision];
    std::uint64_t fraction = q % s_powersOfTen[precision];
    char digits[24];
    int d = 0;
    std::uint64_t w = whole;
    do {
        digits[d++] = static_cast<char>('0' + w % 10);
        w /= 10;
    } while (w != 0);
    while (d > 0) {
        out[n++] = digits[--d];
    }
    if (precision > 0 || conv.alt) {
        out[n++] = '.';
    }
    for (int i = precision - 1; i >= 0; --i) {
        out[n + i] = static_cast<char>('0' + fraction % 10);
        fraction /= 10;
    }
    n += precision;
    out[n] = 0;
    return n;
#else
    (void)conv;
    (void)kind;
    (void)value;
    (void)out;
    return -1;
#endif
}

// The C format for the digits of a floating conversion: flags, precision
// (as '*') and kind, without width, so that padding stays with emitField.
void floatFormat(const tagConversion& conv, char16_t kind, bool isLong, char (&cFormat)[16])
{
    unsigned int s = 0;
    cFormat[s++] = '%';
    if (conv.plus) {
        cFormat[s++] = '+';
    }
    if (conv.space) {
        cFormat[s++] = ' ';
    }
    if (conv.alt) {
        cFormat[s++] = '#';
    }
    if (conv.precision >= 0) {
        cFormat[s++] = '.';
        cFormat[s++] = '*';
    }
    if (isLong) {
        cFormat[s++] = 'L';
    }
    cFormat[s++] = static_cast<char>(kind);
    cFormat[s] = 0;
}

int printFloat(char* out, std::size_t size, const char* cFormat, const tagConversion& conv, bool isLong,
               long double longValue, double value)
{
    if (conv.precision >= 0) {
        return isLong ? std::snprintf(out, size, cFormat, conv.precision, longValue)
                      : std::snprintf(out, size, cFormat, conv.precision, value);
    }
    return isLong ? std::snprintf(out, size, cFormat, longValue) : std::snprintf(out, size, cFormat, value);
}

// Lays out the ASCII digits of a floating conversion. Zero padding goes after
// the sign and the "0x" of hexadecimal forms; infinities and NaNs are padded
// with spaces.
void emitFloatText(CFormatSink& sink, const tagConversion& conv, const char* text, unsigned int n)
{
    unsigned int prefixLength = 0;
    if (n > 0 && (text[0] == '-' || text[0] == '+' || text[0] == ' ')) {
        prefixLength = 1;
    }
    if (n >= prefixLength + 2 && text[prefixLength] == '0' &&
        (text[prefixLength + 1] == 'x' || text[prefixLength + 1] == 'X')) {
        prefixLength += 2;
    }
    const char first = n > prefixLength ? text[prefixLength] : 0;
    const bool finite = first != 'i' && first != 'I' && first != 'n' && first != 'N';
    const bool zeroPad = conv.zero && !conv.left && finite;

    // Widened in place of a temporary: short texts on the stack. The first
    // unit is set only because the compiler cannot see that n is never 0.
    char16_t local[128];
    local[0] = 0;
    char16_t* wide = n <= 128 ? local : static_cast<char16_t*>(CMemory::malloc(n * 2u, 0));
    if (wide == nullptr) {
        sink.fail();
        return;
    }
    for (unsigned int i = 0; i < n; ++i) {
        wide[i] = static_cast<char16_t>(static_cast<unsigned char>(text[i]));
    }
    emitField(sink, conv, wide, prefixLength, 0, wide + prefixLength, n - prefixLength, zeroPad);
    if (wide != local) {
        CMemory::free(wide);
    }
}

// The digits of one floating conversion come from fixedDigits or snprintf;
// the field is then laid out like any other.
void emitFloat(CFormatSink& sink, const tagConversion& conv, char16_t kind, bool isLong, long double longValue,
               double value)
{
    char local[128];
    int n = isLong ? -1 : fixedDigits(conv, kind, value, local);
    if (n >= 0) {
        emitFloatText(sink, conv, local, static_cast<unsigned int>(n));
        return;
    }
    char cFormat[16];
    floatFormat(conv, kind, isLong, cFormat);
    n = printFloat(local, sizeof(local), cFormat, conv, isLong, longValue, value);
    if (n < 0) {
        sink.fail();
        return;
    }
    if (static_cast<unsigned int>(n) < sizeof(local)) {
        emitFloatText(sink, conv, local, static_cast<unsigned int>(n));
        return;
    }
    // Long digit strings ("%.400f", "%f" of huge values) go through the heap.
    char* text = static_cast<char*>(CMemory::malloc(static_cast<unsigned int>(n) + 1, 0));
    if (text == nullptr) {
        sink.fail();
        return;
    }
    n = printFloat(text, static_cast<std::size_t>(n) + 1, cFormat, conv, isLong, longValue, value);
    if (n < 0) {
        sink.fail();
    } else {
        emitFloatText(sink, conv, text, static_cast<unsigned int>(n));
    }
    CMemory::free(text);
}

// Reads a decimal count from the format; false when it overflows int.
bool readCount(const char16_t*& p, int& value)
{
    long long v = 0;
    while (*p >= u'0' && *p <= u'9') {
        v = v * 10 + (*p - u'0');
        if (v > INT_MAX) {
            return false;
        }
        ++p;
    }
    value = static_cast<int>(v);
    return true;
}

void readFlags(const char16_t*& p, tagConversion& conv)
{
    for (;; ++p) {
        switch (*p) {
        case u'-': conv.left = true; break;
        case u'+': conv.plus = true; break;
        case u' ': conv.space = true; break;
        case u'#': conv.alt = true; break;
        case u'0': conv.zero = true; break;
        default: return;
        }
    }
}

// Width and precision, each a count or '*' taken from the arguments; false
// when a count overflows int.
bool readWidthAndPrecision(const char16_t*& p, va_list* args, tagConversion& conv)
{
    if (*p == u'*') {
        ++p;
        conv.width = va_arg(*args, int);
        if (conv.width < 0) {
            // A negative width argument means left alignment.
            conv.left = true;
            conv.width = conv.width == INT_MIN ? INT_MAX : -conv.width;
        }
    } else if (!readCount(p, conv.width)) {
        return false;
    }
    if (*p != u'.') {
        return true;
    }
    ++p;
    if (*p != u'*') {
        return readCount(p, conv.precision);
    }
    ++p;
    conv.precision = va_arg(*args, int);
    if (conv.precision < 0) {
        conv.precision = -1; // as if none was given
    }
    return true;
}

void readLength(const char16_t*& p, tagConversion& conv)
{
    switch (*p) {
    case u'h':
        ++p;
        conv.length = LENGTH_H;
        if (*p == u'h') {
            ++p;
            conv.length = LENGTH_HH;
        }
        break;
    case u'l':
        ++p;
        conv.length = LENGTH_L;
        if (*p == u'l') {
            ++p;
            conv.length = LENGTH_LL;
        }
        break;
    case u'q':
        ++p;
        conv.length = LENGTH_LL;
        break;
    case u'j':
        ++p;
        conv.length = LENGTH_J;
        break;
    case u'z':
        ++p;
        conv.length = LENGTH_Z;
        break;
    case u't':
        ++p;
        conv.length = LENGTH_T;
        break;
    case u'L':
        ++p;
        conv.length = LENGTH_BIG_L;
        break;
    default: break;
    }
}

// "%d" and "%i": the argument's type follows the length modifier.
void formatSigned(CFormatSink& sink, const tagConversion& conv, va_list* args)
{
    long long v;
    switch (conv.length) {
    case LENGTH_HH: v = static_cast<signed char>(va_arg(*args, int)); break;
    case LENGTH_H: v = static_cast<short>(va_arg(*args, int)); break;
    case LENGTH_L: v = va_arg(*args, long); break;
    case LENGTH_LL:
    case LENGTH_BIG_L: v = va_arg(*args, long long); break;
    case LENGTH_J: v = static_cast<long long>(va_arg(*args, intmax_t)); break;
    case LENGTH_Z: v = static_cast<long long>(va_arg(*args, std::ptrdiff_t)); break; // signed size_t
    case LENGTH_T: v = static_cast<long long>(va_arg(*args, std::ptrdiff_t)); break;
    default: v = va_arg(*args, int); break;
    }
    const unsigned long long magnitude =
        v < 0 ? 0ull - static_cast<unsigned long long>(v) : static_cast<unsigned long long>(v);
    emitInteger(sink, conv, magnitude, v < 0, true, 10, false);
}

// "%u", "%o", "%x" and "%X".
void formatUnsigned(CFormatSink& sink, const tagConversion& conv, char16_t kind, va_list* args)
{
    unsigned long long v;
    switch (conv.length) {
    case LENGTH_HH: v = static_cast<unsigned char>(va_arg(*args, unsigned int)); break;
    case LENGTH_H: v = static_cast<unsigned short>(va_arg(*args, unsigned int)); break;
    case LENGTH_L: v = va_arg(*args, unsigned long); break;
    case LENGTH_LL:
    case LENGTH_BIG_L: v = va_arg(*args, unsigned long long); break;
    case LENGTH_J: v = static_cast<unsigned long long>(va_arg(*args, uintmax_t)); break;
    case LENGTH_Z: v = static_cast<unsigned long long>(va_arg(*args, std::size_t)); break;
    case LENGTH_T: v = static_cast<unsigned long long>(static_cast<std::size_t>(va_arg(*args, std::ptrdiff_t))); break;
    default: v = va_arg(*args, unsigned int); break;
    }
    const unsigned int base = kind == u'u' ? 10 : (kind == u'o' ? 8 : 16);
    emitInteger(sink, conv, v, false, false, base, kind == u'X');
}

void formatPointer(CFormatSink& sink, const tagConversion& conv, va_list* args)
{
    const void* v = va_arg(*args, void*);
    if (v == nullptr) {
        emitAscii(sink, conv, "(nil)");
        return;
    }
    tagConversion hex = conv;
    hex.alt = true;
    emitInteger(sink, hex, static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(v)), false, false, 16,
                false);
}

// Plain "%s" means a char16_t string, like "%ls".
void formatString(CFormatSink& sink, const tagConversion& conv, va_list* args)
{
    const char16_t* text = va_arg(*args, const char16_t*);
    const std::size_t limit =
        conv.precision < 0 ? static_cast<std::size_t>(-1) : static_cast<std::size_t>(conv.precision);
    if (text != nullptr) {
        emitText(sink, conv, text, limit);
    } else if (limit >= 6) {
        // As the C library: "(null)" unless a precision cuts it short.
        emitAscii(sink, conv, "(null)");
    } else {
        emitAscii(sink, conv, "");
    }
}

void formatFloating(CFormatSink& sink, const tagConversion& conv, char16_t kind, va_list* args)
{
    if (conv.length == LENGTH_BIG_L) {
        emitFloat(sink, conv, kind, true, va_arg(*args, long double), 0.0);
    } else {
        emitFloat(sink, conv, kind, false, 0.0L, va_arg(*args, double));
    }
}

// One conversion after its directive; false for an unknown one, "%n"
// and a '%' at the very end.
bool formatConversion(CFormatSink& sink, const tagConversion& conv, char16_t kind, va_list* args)
{
    switch (kind) {
    case u'd':
    case u'i': formatSigned(sink, conv, args); return true;
    case u'u':
    case u'o':
    case u'x':
    case u'X': formatUnsigned(sink, conv, kind, args); return true;
    case u'p': formatPointer(sink, conv, args); return true;
    case u'c':
    case u'C': {
        const char16_t unit = static_cast<char16_t>(va_arg(*args, int));
        emitField(sink, conv, nullptr, 0, 0, &unit, 1, false);
        return true;
    }
    case u's':
    case u'S': formatString(sink, conv, args); return true;
    case u'f':
    case u'F':
    case u'e':
    case u'E':
    case u'g':
    case u'G':
    case u'a':
    case u'A': formatFloating(sink, conv, kind, args); return true;
    case u'%': sink.put(u"%", 1); return true;
    default: return false;
    }
}

// Runs the whole format; false on an invalid conversion or allocation failure.
bool formatInto(CFormatSink& sink, const char16_t* format, va_list* args)
{
    const char16_t* p = format;
    for (;;) {
        const char16_t* run = p;
        while (*p != 0 && *p != u'%') {
            ++p;
        }
        if (p != run) {
            sink.put(run, static_cast<std::size_t>(p - run));
        }
        if (*p == 0) {
            return !sink.failed();
        }
        ++p;
        tagConversion conv;
        readFlags(p, conv);
        if (!readWidthAndPrecision(p, args, conv)) {
            return false;
        }
        readLength(p, conv);
        const char16_t kind = *p++;
        if (!formatConversion(sink, conv, kind, args) || sink.failed()) {
            return false;
        }
    }
}

} // namespace

CString CStringConverter::formatV(const char16_t* format, va_list args)
{
    CString result;
    if (format == nullptr) {
        result = u"";
        return result;
    }
    CFormatSink sink;
    va_list copy;
    va_copy(copy, args);
    const bool ok = formatInto(sink, format, &copy);
    va_end(copy);
    if (!ok) {
        result = u"";
        return result;
    }
    const unsigned int length = sink.length();
    char16_t* buffer = static_cast<char16_t*>(CMemory::malloc((length + 1) * 2u, 0));
    if (buffer == nullptr) {
        return result;
    }
    std::memcpy(buffer, sink.data(), length * sizeof(char16_t));
    buffer[length] = 0;
    result.attach(buffer, static_cast<int>(length));
    return result;
}

CString CStringConverter::format(const char16_t* format, ...)
{
    va_list args;
    va_start(args, format);
    CString result = formatV(format, args);
    va_end(args);
    return result;
}

void CStringConverter::printfV(const char16_t* format, va_list args)
{
    if (format == nullptr) {
        return;
    }
    CFormatSink sink;
    va_list copy;
    va_copy(copy, args);
    const bool ok = formatInto(sink, format, &copy);
    va_end(copy);
    if (!ok || sink.length() == 0) {
        return;
    }
    // The console writer honours a host's wide stdout and writes a
    // surrogate pair as one character.
    Console::writeUtf16(sink.data(), sink.length());
}

void CStringConverter::printf(const char16_t* format, ...)
{
    va_list args;
    va_start(args, format);
    printfV(format, args);
    va_end(args);
}

} // namespace Trell

#include <text/CStringConverter.h>

#include <cstdio>
#include <type_traits>

namespace Trell {

namespace {

// The parsers share one body for both unit types; the rules do not depend on
// the width of a unit, only on its value.
template <typename Unit>
inline unsigned int unitValue(Unit u)
{
    return static_cast<unsigned int>(u);
}

// Folds the run of decimal digits at `text` into `value` (value * 10 + digit
// in the value's own type, so integers wrap) and moves `text` past it.
template <typename Unit, typename Value>
inline Value accumulateDigits(const Unit*& text, Value value)
{
    for (unsigned int d; (d = unitValue(*text) - '0') <= 9; ++text)
        value = value * Value(10) + Value(d);
    return value;
}

template <typename Unit, typename Int>
Int parseSigned(const Unit* text)
{
    if (text == nullptr) {
        return 0;
    }
    using UInt = std::make_unsigned_t<Int>;
    bool negative = false;
    if (unitValue(*text) == '-') {
        negative = true;
        ++text;
    }
    // Accumulate unsigned so that overflow wraps instead of being undefined.
    UInt value = accumulateDigits(text, UInt(0));
    if (negative) {
        value = UInt(0) - value;
    }
    return static_cast<Int>(value);
}

template <typename Unit>
unsigned int parseUnsigned(const Unit* text)
{
    if (text == nullptr) {
        return 0;
    }
    unsigned int value = 0;
    if (unitValue(text[0]) == '0' && (unitValue(text[1]) == 'x' || unitValue(text[1]) == 'X')) {
        // Characters that are not hex digits are skipped, not terminating:
        // deliberate, configuration files rely on "0x00_FF"-style spellings.
        for (const Unit* p = text + 2; unitValue(*p) != 0; ++p) {
            const unsigned int c = unitValue(*p);
            unsigned int d;
            if (c >= '0' && c <= '9') {
                d = c - '0';
            } else if (c >= 'a' && c <= 'f') {
                d = c - 'a' + 10;
            } else if (c >= 'A' && c <= 'F') {
                d = c - 'A' + 10;
            } else {
                continue;
            }
            value = (value << 4) | d;
        }
        return value;
    }
    return accumulateDigits(text, value);
}

template <typename Unit>
float parseFloat(const Unit* text)
{
    if (text == nullptr) {
        return 0.0f;
    }
    bool negative = false;
    if (unitValue(*text) == '-') {
        negative = true;
        ++text;
    }
    double value = accumulateDigits(text, 0.0);
    if (unitValue(*text) == '.') {
        ++text;
        double divisor = 10.0;
        for (;;) {
            const unsigned int d = unitValue(*text) - '0';
            if (d > 9) {
                break;
            }
            value += d / divisor;
            divisor *= 10.0;
            ++text;
        }
    }
    return static_cast<float>(negative ? -value : value);
}

template <typename Unit>
bool parseBool(const Unit* text)
{
    if (text == nullptr) {
        return false;
    }
    static const char s_true[] = "true";
    for (int i = 0; i < 4; ++i) {
        if (unitValue(text[i]) != static_cast<unsigned char>(s_true[i])) {
            return false;
        }
    }
    return unitValue(text[4]) == 0;
}

// Digits least significant first, then reversed in place; no terminator.
template <typename UInt>
unsigned int writeDigits(UInt magnitude, char16_t* out)
{
    unsigned int n = 0;
    do {
        out[n++] = static_cast<char16_t>(u'0' + static_cast<unsigned int>(magnitude % 10u));
        magnitude /= 10u;
    } while (magnitude != 0);
    for (unsigned int i = 0, j = n - 1; i < j; ++i, --j) {
        const char16_t t = out[i];
        out[i] = out[j];
        out[j] = t;
    }
    return n;
}

} // namespace

CStringConverter::CStringConverter() = default;
CStringConverter::CStringConverter(const CStringConverter&) = default;
CStringConverter::~CStringConverter() = default;

int CStringConverter::toInt(const char16_t* text)
{
    return parseSigned<char16_t, int>(text);
}
int CStringConverter::toInt(const unsigned char* text)
{
    return parseSigned<unsigned char, int>(text);
}
unsigned int CStringConverter::toUInt(const char16_t* text)
{
    return parseUnsigned(text);
}
unsigned int CStringConverter::toUInt(const unsigned char* text)
{
    return parseUnsigned(text);
}
long long CStringConverter::toLLong(const char16_t* text)
{
    return parseSigned<char16_t, long long>(text);
}
long long CStringConverter::toLLong(const unsigned char* text)
{
    return parseSigned<unsigned char, long long>(text);
}
float CStringConverter::toFloat(const char16_t* text)
{
    return parseFloat(text);
}
float CStringConverter::toFloat(const unsigned char* text)
{
    return parseFloat(text);
}
bool CStringConverter::toBool(const char16_t* text)
{
    return parseBool(text);
}
bool CStringConverter::toBool(const unsigned char* text)
{
    return parseBool(text);
}

unsigned int CStringConverter::toString(int value, char16_t* out)
{
    if (out == nullptr) {
        return 0;
    }
    if (value < 0) {
        out[0] = u'-';
        // Negate in unsigned arithmetic so INT_MIN keeps its magnitude.
        return 1 + writeDigits(0u - static_cast<unsigned int>(value), out + 1);
    }
    return writeDigits(static_cast<unsigned int>(value), out);
}

unsigned int CStringConverter::toString(unsigned int value, char16_t* out)
{
    if (out == nullptr) {
        return 0;
    }
    return writeDigits(value, out);
}

unsigned int CStringConverter::toString(long long value, char16_t* out)
{
    if (out == nullptr) {
        return 0;
    }
    if (value < 0) {
        out[0] = u'-';
        return 1 + writeDigits(0ull - static_cast<unsigned long long>(value), out + 1);
    }
    return writeDigits(static_cast<unsigned long long>(value), out);
}

unsigned int CStringConverter::toString(float value, char16_t* out, unsigned int precision)
{
    if (out == nullptr) {
        return 0;
    }
    // The format is built from a template so that any precision works the
    // same way; the output limit is 32 units including the terminator.
    char cFormat[24];
    std::snprintf(cFormat, sizeof(cFormat), "%%.%df", static_cast<int>(precision));
    char narrow[32];
    const int n = std::snprintf(narrow, sizeof(narrow), cFormat, static_cast<double>(value));
    if (n < 0) {
        out[0] = 0;
        return 0;
    }
    unsigned int count =
        static_cast<unsigned int>(n) < sizeof(narrow) ? static_cast<unsigned int>(n) : sizeof(narrow) - 1;
    for (unsigned int i = 0; i < count; ++i) {
        out[i] = static_cast<char16_t>(static_cast<unsigned char>(narrow[i]));
    }
    out[count] = 0;
    return count;
}

unsigned int CStringConverter::toString(bool value, char16_t* out)
{
    if (out == nullptr) {
        return 0;
    }
    const char* word = value ? "true" : "false";
    unsigned int n = 0;
    for (; word[n] != 0; ++n) {
        out[n] = static_cast<char16_t>(word[n]);
    }
    return n;
}

} // namespace Trell

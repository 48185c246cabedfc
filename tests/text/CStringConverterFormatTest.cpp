#include <text/CStringConverter.h>

#include <text/CString.h>

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <utility>

using namespace Trell;

namespace {

std::u16string str(const CString& s)
{
    return s.buffer() == nullptr ? std::u16string() : std::u16string(s.buffer(), s.length());
}

std::u16string widen(const std::string& s)
{
    std::u16string out;
    for (char c : s)
        out.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
    return out;
}

// Formats the same conversion with snprintf and with the library, and
// compares the texts unit for unit.
template <typename... Args>
void expectSameAsSnprintf(const std::string& cFormat, Args... args)
{
    const int n = std::snprintf(nullptr, 0, cFormat.c_str(), args...);
    ASSERT_GE(n, 0) << cFormat;
    std::string expected(static_cast<std::size_t>(n) + 1, '\0');
    std::snprintf(expected.data(), expected.size(), cFormat.c_str(), args...);
    expected.resize(static_cast<std::size_t>(n));
    const std::u16string wideFormat = widen(cFormat);
    const CString got = CStringConverter::format(wideFormat.c_str(), args...);
    ASSERT_EQ(str(got), widen(expected)) << "format \"" << cFormat << "\"";
    ASSERT_EQ(got.length(), static_cast<unsigned int>(n));
}

} // namespace

TEST(CStringConverterFormat, UnitsPointersLongOutputAndInvalidFormats)
{
    int x = 0;
    char pointer[64];
    // The library writes a pointer as glibc does on every platform, "0x" and
    // its hex digits; other C runtimes pad it, so the reference is built here.
    std::snprintf(pointer, sizeof(pointer), "0x%llx",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(&x)));
    const char16_t* const nullText = nullptr;
    const std::pair<CString, std::u16string> cases[] = {
        {CStringConverter::format(u"[%s|%ls|%S]", u"wide \u4E2D", u"a", u"b"), u"[wide \u4E2D|a|b]"},
        {CStringConverter::format(u"[%5s|%-5s|%.2s]", u"ab", u"cd", u"efgh"), u"[   ab|cd   |ef]"},
        {CStringConverter::format(u"%s[%.3s]", nullText, nullText), u"(null)[]"},
        {CStringConverter::format(u"%c%lc%C[%3c|%-3c]", 'a', 0x4E2D, 0x00E9, 'x', 'y'), u"a\u4E2D\u00E9[  x|y  ]"},
        {CStringConverter::format(u"%p", static_cast<void*>(&x)), widen(pointer)},
        {CStringConverter::format(u"[%7p]", static_cast<void*>(nullptr)), u"[  (nil)]"},
        {CStringConverter::format(u"%5000d|%s", 7, u"end"), std::u16string(4999, u' ') + u"7|end"},
        {CStringConverter::format(u"%qd|%qx", -(1LL << 40), 1ULL << 40), u"-1099511627776|10000000000"},
        // Zero with precision 0 has no digits, but '#' keeps octal's leading zero
        // (written out: mingw's snprintf drops that zero).
        {CStringConverter::format(u"%.0d|%.0x|%#.0o|%#.0x|%#o", 0, 0u, 0u, 0u, 0u), u"||0||0"},
    };
    for (const auto& [got, expected] : cases) {
        EXPECT_EQ(str(got), expected);
        EXPECT_EQ(got.buffer()[got.length()], 0);
    }
    // A count that does not fit in an int is an error, not a huge allocation.
    for (const char16_t* f : {u"", nullText, u"abc %", u"%y", u"x %k y", u"%n", u"%lq", u"%99999999999d"}) {
        const CString r = CStringConverter::format(f, 1);
        EXPECT_EQ(r.length(), 0u);
        EXPECT_FALSE(r.isEmpty());
    }
}

TEST(CStringConverterFormat, PrintfWritesUtf8ToStandardOutput)
{
    testing::internal::CaptureStdout();
    CStringConverter::printf(u"%s %d\u00E9 %.1f\n", u"\u4E2D", 5, 0.5); // and no warning about its buffers
    CStringConverter::printf(nullptr);
    CStringConverter::printf(u"%y");
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\xE4\xB8\xAD 5\xC3\xA9 0.5\n");
}

// Differential: random flags, width, precision, length modifiers and values
// against the C library. Only combinations whose meaning the C standard
// defines are generated.
TEST(CStringConverterFormat, MatchesSnprintfOnRandomNumericConversions)
{
    std::mt19937_64 rng(0x5EED);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned long long>(n)); };
    const std::string conversions = "diouxXceEfFgGaA%";
    for (int round = 0; round < 30000; ++round) {
        const char conv = conversions[pick(int(conversions.size()))];
        const bool isInt = std::string("diouxX").find(conv) != std::string::npos;
        const bool isFloat = std::string("eEfFgGaA").find(conv) != std::string::npos;
        std::string cFormat = std::string(pick(3) == 0 ? "<" : "") + "%";
        int stars = 0; // 1: width, 2: precision, 3: both
        int widthArg = pick(41) - 20;
        int precisionArg = pick(30) - 5;
        if (conv != '%') {
            for (int i = pick(4); i > 0; --i) {
                const char flag = "-+ #0"[pick(5)];
                // Only combinations whose meaning the C standard defines.
                const bool undefined = (flag == '#' && !(isFloat || conv == 'o' || conv == 'x' || conv == 'X')) ||
                                       (conv == 'c' && (flag == '0' || flag == '+' || flag == ' '));
                if (!undefined)
                    cFormat.push_back(flag);
            }
            const std::string widths[] = {"", std::to_string(pick(25)), "*"};
            const std::string precisions[] = {"", ".", "." + std::to_string(pick(isFloat ? 30 : 25)), ".*"};
            const int widthKind = pick(3);
            const int precisionKind = conv == 'c' ? 0 : pick(4);
            cFormat += widths[widthKind] + precisions[precisionKind];
            stars = (widthKind == 2) + 2 * (precisionKind == 3);
        }
        // Length modifier and the matching argument.
        const char* intModifiers[] = {"", "hh", "h", "l", "ll", "j", "z", "t"};
        const char* floatModifiers[] = {"", "l", "L"};
        const int lengthKind = isInt ? pick(8) : (isFloat ? pick(3) : 0);
        cFormat += isInt ? intModifiers[lengthKind] : (isFloat ? floatModifiers[lengthKind] : "");
        cFormat.push_back(conv);
        cFormat += pick(2) ? ">" : "";

        auto run = [&](auto value) {
            switch (stars) {
            case 0: expectSameAsSnprintf(cFormat, value); break;
            case 1: expectSameAsSnprintf(cFormat, widthArg, value); break;
            case 2: expectSameAsSnprintf(cFormat, precisionArg, value); break;
            default: expectSameAsSnprintf(cFormat, widthArg, precisionArg, value); break;
            }
        };
        const unsigned long long bits = rng();
        // Small, medium and full-range values, so that zero, one digit and the extremes all occur.
        const unsigned long long raw = std::array<unsigned long long, 4>{bits % 3, bits % 1000, bits, bits}[pick(4)];
        const bool negative = pick(2) == 1;
        const long long s = negative ? -static_cast<long long>(raw >> 1) : static_cast<long long>(raw >> 1);
        if (conv == '%') {
            expectSameAsSnprintf(cFormat);
        } else if (conv == 'c') {
            run(static_cast<int>(1 + bits % 255));
        } else if (isInt) {
            switch (lengthKind) {
            case 3: run(static_cast<long>(s)); break;
            case 4: run(static_cast<long long>(s)); break;
            case 5: run(static_cast<intmax_t>(s)); break;
            case 6: run(static_cast<std::size_t>(raw)); break;
            case 7: run(static_cast<std::ptrdiff_t>(s)); break;
            default: run(static_cast<int>(s)); break;
            }
        } else {
            // Fixed notation is computed without the C library: dyadic values put
            // exact ties at every digit position, which must round half to even,
            // and any finite double, huge ones included, must come out digit for digit.
            double any;
            const std::uint64_t finite = bits & 0x7FEFFFFFFFFFFFFFull;
            std::memcpy(&any, &finite, sizeof(any));
            const double shapes[] = {0.0,
                                     static_cast<double>(bits % 100000) / 100.0, // round-ish decimals
                                     std::ldexp(static_cast<double>(bits >> 11), pick(200) - 150),
                                     pick(3) == 0 ? INFINITY : (pick(2) ? NAN : 0.5),
                                     0.5 + static_cast<double>(pick(20)), // ties
                                     static_cast<double>(bits % 1000000) * std::pow(10.0, pick(30) - 15),
                                     std::ldexp(static_cast<double>(bits % 100000), -pick(24)),
                                     any};
            const double v = (negative ? -1 : 1) * shapes[pick(8)];
            if (lengthKind == 2)
                run(static_cast<long double>(v));
            else
                run(v);
        }
        if (testing::Test::HasFatalFailure())
            return;
    }
    expectSameAsSnprintf("%f|%.0f|%#.0f|%.3f|%.19f", -0.0, 0.5, 2.5, -0.0004, 1e-5);
    expectSameAsSnprintf("%.2f|%.0f|%.1f", 9.995, 1e19, 18446744073709551615.0);
    expectSameAsSnprintf("%f|%.0f|%.2f", 4.9e-324, DBL_MIN, 0.125);
}

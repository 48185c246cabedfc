// UTF-8 <-> UTF-16 against ICU and iconv, and the formatter against
// snprintf, in one program so that every figure is a ratio of one run.
#include <text/CStringConverter.h>

#include <text/CString.h>

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <cstdio>
#include <iconv.h>
#include <random>
#include <string>
#include <vector>

using namespace Trell;

namespace {

constexpr std::size_t TEXT_BYTES = 1 << 20;

// 1 MB of UTF-8: printable ASCII, or words alternating between Latin and
// CJK (about half the bytes each).
std::string makeUtf8(bool mixed)
{
    std::mt19937 rng(42);
    std::string out;
    out.reserve(TEXT_BYTES + 8);
    while (out.size() < TEXT_BYTES) {
        const bool cjk = mixed && (rng() & 1);
        const int wordLength = 2 + static_cast<int>(rng() % 8);
        for (int i = 0; i < wordLength && out.size() < TEXT_BYTES - 4; ++i) {
            if (cjk) {
                const unsigned int c = 0x4E00 + rng() % 0x51A6;
                out.push_back(static_cast<char>(0xE0 | (c >> 12)));
                out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
                out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
            } else {
                out.push_back(static_cast<char>('a' + rng() % 26));
            }
        }
        out.push_back(' ');
    }
    return out;
}

const std::string& utf8Text(bool mixed)
{
    static const std::string ascii = makeUtf8(false);
    static const std::string cjk = makeUtf8(true);
    return mixed ? cjk : ascii;
}

const std::u16string& utf16Text(bool mixed)
{
    static const std::u16string ascii = [] {
        CString s;
        CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(utf8Text(false).c_str()), s);
        return std::u16string(s.buffer(), s.length());
    }();
    static const std::u16string cjk = [] {
        CString s;
        CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(utf8Text(true).c_str()), s);
        return std::u16string(s.buffer(), s.length());
    }();
    return mixed ? cjk : ascii;
}

// ---- UTF-8 -> UTF-16 ---------------------------------------------------------------

void BM_Decode_Trell(benchmark::State& state)
{
    const std::string& text = utf8Text(state.range(0) != 0);
    for (auto _ : state) {
        CString out;
        CStringConverter::convertFromUTF8(reinterpret_cast<const unsigned char*>(text.c_str()), out);
        benchmark::DoNotOptimize(out.buffer());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Decode_ICU(benchmark::State& state)
{
    const std::string& text = utf8Text(state.range(0) != 0);
    std::vector<UChar> out(text.size() + 1);
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = 0;
        u_strFromUTF8(out.data(), static_cast<int32_t>(out.size()), &length, text.c_str(), -1, &status);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Decode_Iconv(benchmark::State& state)
{
    const std::string& text = utf8Text(state.range(0) != 0);
    std::vector<char16_t> out(text.size() + 1);
    iconv_t cd = iconv_open("UTF-16LE", "UTF-8");
    for (auto _ : state) {
        char* in = const_cast<char*>(text.c_str());
        std::size_t inLeft = text.size();
        char* dst = reinterpret_cast<char*>(out.data());
        std::size_t outLeft = out.size() * 2;
        iconv(cd, &in, &inLeft, &dst, &outLeft);
        benchmark::DoNotOptimize(outLeft);
        benchmark::ClobberMemory();
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// ---- UTF-16 -> UTF-8 ---------------------------------------------------------------

void BM_Encode_Trell(benchmark::State& state)
{
    const std::u16string& text = utf16Text(state.range(0) != 0);
    std::vector<unsigned char> out(text.size() * 3 + 1);
    for (auto _ : state) {
        unsigned int written = 0;
        CStringConverter::convertToUTF8(text.c_str(), out.data(), static_cast<unsigned int>(out.size()), &written);
        benchmark::DoNotOptimize(written);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8Text(state.range(0) != 0).size()));
}

void BM_Encode_ICU(benchmark::State& state)
{
    const std::u16string& text = utf16Text(state.range(0) != 0);
    std::vector<char> out(text.size() * 3 + 1);
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = 0;
        u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, reinterpret_cast<const UChar*>(text.c_str()),
                    -1, &status);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8Text(state.range(0) != 0).size()));
}

void BM_Encode_Iconv(benchmark::State& state)
{
    const std::u16string& text = utf16Text(state.range(0) != 0);
    std::vector<char> out(text.size() * 3 + 1);
    iconv_t cd = iconv_open("UTF-8", "UTF-16LE");
    for (auto _ : state) {
        char* in = reinterpret_cast<char*>(const_cast<char16_t*>(text.c_str()));
        std::size_t inLeft = text.size() * 2;
        char* dst = out.data();
        std::size_t outLeft = out.size();
        iconv(cd, &in, &inLeft, &dst, &outLeft);
        benchmark::DoNotOptimize(outLeft);
        benchmark::ClobberMemory();
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8Text(state.range(0) != 0).size()));
}

// ---- format against snprintf ---------------------------------------------------------
// The library's result is an exact-size CString (allocation included); the
// peer writes into a stack buffer.

void BM_Format_Ints_Trell(benchmark::State& state)
{
    int i = 0;
    for (auto _ : state) {
        CString s = CStringConverter::format(u"%d, %5d, %x, %u", i, -i, i * 7, 123456789u);
        benchmark::DoNotOptimize(s.buffer());
        ++i;
    }
}

void BM_Format_Ints_Snprintf(benchmark::State& state)
{
    int i = 0;
    char buffer[128];
    for (auto _ : state) {
        int n = std::snprintf(buffer, sizeof(buffer), "%d, %5d, %x, %u", i, -i, i * 7, 123456789u);
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
        ++i;
    }
}

void BM_Format_Float_Trell(benchmark::State& state)
{
    double v = 3.14159;
    for (auto _ : state) {
        CString s = CStringConverter::format(u"%.3f", v);
        benchmark::DoNotOptimize(s.buffer());
        v += 0.001;
    }
}

void BM_Format_Float_Snprintf(benchmark::State& state)
{
    double v = 3.14159;
    char buffer[128];
    for (auto _ : state) {
        int n = std::snprintf(buffer, sizeof(buffer), "%.3f", v);
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
        v += 0.001;
    }
}

void BM_Format_String_Trell(benchmark::State& state)
{
    int i = 0;
    for (auto _ : state) {
        CString s = CStringConverter::format(u"name=%s id=%d", u"surface.main", i++);
        benchmark::DoNotOptimize(s.buffer());
    }
}

void BM_Format_String_Snprintf(benchmark::State& state)
{
    int i = 0;
    char buffer[128];
    for (auto _ : state) {
        int n = std::snprintf(buffer, sizeof(buffer), "name=%s id=%d", "surface.main", i++);
        benchmark::DoNotOptimize(n);
        benchmark::ClobberMemory();
    }
}

} // namespace

// Argument 0: 1 MB ASCII; 1: 1 MB mixed CJK/Latin.
BENCHMARK(BM_Decode_Trell)->Arg(0)->Arg(1);
BENCHMARK(BM_Decode_ICU)->Arg(0)->Arg(1);
BENCHMARK(BM_Decode_Iconv)->Arg(0)->Arg(1);
BENCHMARK(BM_Encode_Trell)->Arg(0)->Arg(1);
BENCHMARK(BM_Encode_ICU)->Arg(0)->Arg(1);
BENCHMARK(BM_Encode_Iconv)->Arg(0)->Arg(1);
BENCHMARK(BM_Format_Ints_Trell);
BENCHMARK(BM_Format_Ints_Snprintf);
BENCHMARK(BM_Format_Float_Trell);
BENCHMARK(BM_Format_Float_Snprintf);
BENCHMARK(BM_Format_String_Trell);
BENCHMARK(BM_Format_String_Snprintf);

BENCHMARK_MAIN();

// CString against std::u16string doing the same work in the same program.
// Each pair is registered side by side; compare the two rows of a pair.

#include <text/CString.h>
#include <text/CStringCore.h>

#include <benchmark/benchmark.h>

#include <string>

using Trell::CString;
using Trell::CStringCore;

namespace {

const char16_t CHUNK[] = u"abcdefgh";

// --- append: n chunks of 8 units onto an initially null string ----------------

void BM_Append_CString(benchmark::State& state)
{
    const int chunks = int(state.range(0));
    for (auto _ : state) {
        CString s;
        for (int i = 0; i < chunks; ++i)
            s.append(CHUNK);
        benchmark::DoNotOptimize(s.buffer());
    }
    state.SetItemsProcessed(state.iterations() * chunks);
}

void BM_Append_U16String(benchmark::State& state)
{
    const int chunks = int(state.range(0));
    for (auto _ : state) {
        std::u16string s;
        for (int i = 0; i < chunks; ++i)
            s.append(CHUNK);
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * chunks);
}

// The same with the capacity of u16string pinned to the exact size (shrink
// after each append), which is the growth policy CString has by design.
void BM_Append_U16StringExact(benchmark::State& state)
{
    const int chunks = int(state.range(0));
    for (auto _ : state) {
        std::u16string s;
        for (int i = 0; i < chunks; ++i) {
            std::u16string next;
            next.reserve(s.size() + 8);
            next.append(s).append(CHUNK);
            s.swap(next);
        }
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * chunks);
}

BENCHMARK(BM_Append_CString)->Arg(4)->Arg(16)->Arg(64)->Arg(256);
BENCHMARK(BM_Append_U16String)->Arg(4)->Arg(16)->Arg(64)->Arg(256);
BENCHMARK(BM_Append_U16StringExact)->Arg(4)->Arg(16)->Arg(64)->Arg(256);

// --- insert: 16 two-unit inserts into a copy of a text of n units -------------

std::u16string makeText(int length)
{
    std::u16string text;
    for (int i = 0; i < length; ++i)
        text.push_back(char16_t(u'a' + i % 26));
    return text;
}

void BM_Insert_CString(benchmark::State& state)
{
    const std::u16string source = makeText(int(state.range(0)));
    const CString base(source.c_str());
    for (auto _ : state) {
        CString s(base);
        for (unsigned int i = 0; i < 16; ++i)
            s.insertString((i * 37u) % s.length(), u"xy", 2);
        benchmark::DoNotOptimize(s.buffer());
    }
}

void BM_Insert_U16String(benchmark::State& state)
{
    const std::u16string base = makeText(int(state.range(0)));
    for (auto _ : state) {
        std::u16string s(base);
        for (unsigned int i = 0; i < 16; ++i)
            s.insert((i * 37u) % s.size(), u"xy", 2);
        benchmark::DoNotOptimize(s.data());
    }
}

BENCHMARK(BM_Insert_CString)->Arg(64)->Arg(1024);
BENCHMARK(BM_Insert_U16String)->Arg(64)->Arg(1024);

// --- replaceAll: every "ab" in a copy of a text of n units becomes "xyz" --------

std::u16string makeReplaceText(int length)
{
    std::u16string text;
    while (int(text.size()) < length)
        text += u"ab..cd.ab...";
    text.resize(size_t(length));
    return text;
}

void BM_ReplaceAll_CString(benchmark::State& state)
{
    const std::u16string source = makeReplaceText(int(state.range(0)));
    const CString base(source.c_str());
    for (auto _ : state) {
        CString s(base);
        s.replaceAll(u"ab", u"xyz");
        benchmark::DoNotOptimize(s.buffer());
    }
}

// The usual std idiom: build the result in a second string.
void BM_ReplaceAll_U16String(benchmark::State& state)
{
    const std::u16string base = makeReplaceText(int(state.range(0)));
    const std::u16string from = u"ab";
    const std::u16string to = u"xyz";
    for (auto _ : state) {
        std::u16string s(base);
        std::u16string out;
        size_t pos = 0;
        for (size_t found; (found = s.find(from, pos)) != std::u16string::npos; pos = found + from.size())
            out.append(s, pos, found - pos).append(to);
        out.append(s, pos, std::u16string::npos);
        s.swap(out);
        benchmark::DoNotOptimize(s.data());
    }
}

BENCHMARK(BM_ReplaceAll_CString)->Arg(64)->Arg(4096);
BENCHMARK(BM_ReplaceAll_U16String)->Arg(64)->Arg(4096);

// --- compare: equal texts of n units (the worst case, full walk) --------------

void BM_Compare_CString(benchmark::State& state)
{
    const std::u16string source = makeText(int(state.range(0)));
    const CString a(source.c_str());
    const CString b(source.c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(a.compare(b));
        benchmark::ClobberMemory();
    }
}

void BM_Compare_U16String(benchmark::State& state)
{
    const std::u16string a = makeText(int(state.range(0)));
    const std::u16string b = a;
    for (auto _ : state) {
        benchmark::DoNotOptimize(a.compare(b));
        benchmark::ClobberMemory();
    }
}

BENCHMARK(BM_Compare_CString)->Arg(8)->Arg(64)->Arg(1024);
BENCHMARK(BM_Compare_U16String)->Arg(8)->Arg(64)->Arg(1024);

// --- character search and length: the hot primitives ----------------------------

void BM_IndexOfChar_CString(benchmark::State& state)
{
    std::u16string source = makeText(int(state.range(0)));
    source.back() = u'#';
    const CString s(source.c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.indexOf(u'#'));
}

void BM_IndexOfChar_U16String(benchmark::State& state)
{
    std::u16string s = makeText(int(state.range(0)));
    s.back() = u'#';
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find(u'#'));
}

BENCHMARK(BM_IndexOfChar_CString)->Arg(64)->Arg(1024);
BENCHMARK(BM_IndexOfChar_U16String)->Arg(64)->Arg(1024);

void BM_Strlen_CStringCore(benchmark::State& state)
{
    const std::u16string s = makeText(int(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(CStringCore::strlen(s.c_str()));
        benchmark::ClobberMemory();
    }
}

void BM_Strlen_CharTraits(benchmark::State& state)
{
    const std::u16string s = makeText(int(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::char_traits<char16_t>::length(s.c_str()));
        benchmark::ClobberMemory();
    }
}

BENCHMARK(BM_Strlen_CStringCore)->Arg(8)->Arg(64)->Arg(1024);
BENCHMARK(BM_Strlen_CharTraits)->Arg(8)->Arg(64)->Arg(1024);

} // namespace

BENCHMARK_MAIN();

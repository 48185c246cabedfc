// CByteBuffer's typed write and read streams beside a std::vector<uint8_t>
// filled and read with memcpy, in one program, so that each figure reads as
// a ratio. A record is the mix of widths the channels' frames carry: 1, 2,
// 4, 4, 2 and 4 bytes. Both sides reuse their storage across iterations.
#include <foundation/CByteBuffer.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

using namespace Trell;

namespace {

const unsigned int RECORD_BYTES = 17;

template <class T>
inline void put(std::vector<uint8_t>& bytes, T value)
{
    const size_t at = bytes.size();
    bytes.resize(at + sizeof(T));
    std::memcpy(bytes.data() + at, &value, sizeof(T));
}

// Bounded like the buffer's reads: too few bytes left yield 0.
template <class T>
inline T take(const std::vector<uint8_t>& bytes, size_t& at)
{
    T value = T(0);
    if (bytes.size() - at >= sizeof(T)) {
        std::memcpy(&value, bytes.data() + at, sizeof(T));
        at += sizeof(T);
    }
    return value;
}

void writeRecords(CByteBuffer& buffer, int count)
{
    buffer.setPosition(0);
    for (int i = 0; i < count; ++i) {
        buffer.writeBYTE(static_cast<unsigned char>(i));
        buffer.writeSHORT(static_cast<short>(i * 3));
        buffer.writeINT(i * 5);
        buffer.writeFLOAT(static_cast<float>(i));
        buffer.writeUSHORT(static_cast<unsigned short>(i));
        buffer.writeUINT(static_cast<unsigned int>(i) * 7u);
    }
}

void writeRecords(std::vector<uint8_t>& bytes, int count)
{
    bytes.clear();
    for (int i = 0; i < count; ++i) {
        put(bytes, static_cast<unsigned char>(i));
        put(bytes, static_cast<short>(i * 3));
        put(bytes, i * 5);
        put(bytes, static_cast<float>(i));
        put(bytes, static_cast<unsigned short>(i));
        put(bytes, static_cast<unsigned int>(i) * 7u);
    }
}

void BM_CByteBuffer_WriteMixed(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    CByteBuffer buffer(0, 4096);
    for (auto _ : state) {
        writeRecords(buffer, count);
        benchmark::DoNotOptimize(buffer.buffer());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * count * RECORD_BYTES);
}

void BM_StdVector_WriteMixed(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    std::vector<uint8_t> bytes;
    for (auto _ : state) {
        writeRecords(bytes, count);
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * count * RECORD_BYTES);
}

void BM_CByteBuffer_ReadMixed(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    CByteBuffer buffer(0, 4096);
    writeRecords(buffer, count);
    for (auto _ : state) {
        buffer.setPosition(0);
        unsigned long long sum = 0;
        for (int i = 0; i < count; ++i) {
            sum += buffer.readBYTE();
            sum += static_cast<unsigned long long>(buffer.readSHORT());
            sum += static_cast<unsigned long long>(buffer.readINT());
            sum += static_cast<unsigned long long>(buffer.readFLOAT());
            sum += buffer.readUSHORT();
            sum += buffer.readUINT();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * count * RECORD_BYTES);
}

void BM_StdVector_ReadMixed(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    std::vector<uint8_t> bytes;
    writeRecords(bytes, count);
    for (auto _ : state) {
        size_t at = 0;
        unsigned long long sum = 0;
        for (int i = 0; i < count; ++i) {
            sum += take<unsigned char>(bytes, at);
            sum += static_cast<unsigned long long>(take<short>(bytes, at));
            sum += static_cast<unsigned long long>(take<int>(bytes, at));
            sum += static_cast<unsigned long long>(take<float>(bytes, at));
            sum += take<unsigned short>(bytes, at);
            sum += take<unsigned int>(bytes, at);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * count * RECORD_BYTES);
}

} // namespace

BENCHMARK(BM_CByteBuffer_WriteMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_StdVector_WriteMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_CByteBuffer_ReadMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_StdVector_ReadMixed)->Arg(64)->Arg(4096);
BENCHMARK_MAIN();

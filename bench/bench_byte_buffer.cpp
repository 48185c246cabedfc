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

// Two write peers: the plain one grows the vector by each field (resize,
// then memcpy); the tuned one keeps its own write offset and grows the
// vector in steps, as a hand-written serialiser does (the vector's size is
// then its capacity). Reads use the tuned one's offset.
struct tagVectorStream
{
    std::vector<uint8_t> bytes;
    size_t size = 0;

    template <class T>
    void put(T value)
    {
        if (bytes.size() - size < sizeof(T))
            bytes.resize(size + sizeof(T) + 4096);
        std::memcpy(bytes.data() + size, &value, sizeof(T));
        size += sizeof(T);
    }
};

// Bounded like the buffer's reads: too few bytes left yield 0.
template <class T>
inline T take(const tagVectorStream& stream, size_t& at)
{
    T value = T(0);
    if (stream.size - at >= sizeof(T)) {
        std::memcpy(&value, stream.bytes.data() + at, sizeof(T));
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

template <class T>
inline void append(std::vector<uint8_t>& bytes, T value)
{
    const size_t at = bytes.size();
    bytes.resize(at + sizeof(T));
    std::memcpy(bytes.data() + at, &value, sizeof(T));
}

void writeRecords(std::vector<uint8_t>& bytes, int count)
{
    bytes.clear();
    for (int i = 0; i < count; ++i) {
        append(bytes, static_cast<unsigned char>(i));
        append(bytes, static_cast<short>(i * 3));
        append(bytes, i * 5);
        append(bytes, static_cast<float>(i));
        append(bytes, static_cast<unsigned short>(i));
        append(bytes, static_cast<unsigned int>(i) * 7u);
    }
}

void writeRecords(tagVectorStream& stream, int count)
{
    stream.size = 0;
    for (int i = 0; i < count; ++i) {
        stream.put(static_cast<unsigned char>(i));
        stream.put(static_cast<short>(i * 3));
        stream.put(i * 5);
        stream.put(static_cast<float>(i));
        stream.put(static_cast<unsigned short>(i));
        stream.put(static_cast<unsigned int>(i) * 7u);
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

void BM_StdVectorResize_WriteMixed(benchmark::State& state)
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

void BM_StdVectorStream_WriteMixed(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    tagVectorStream stream;
    for (auto _ : state) {
        writeRecords(stream, count);
        benchmark::DoNotOptimize(stream.bytes.data());
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

void BM_StdVectorStream_ReadMixed(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    tagVectorStream stream;
    writeRecords(stream, count);
    for (auto _ : state) {
        size_t at = 0;
        unsigned long long sum = 0;
        for (int i = 0; i < count; ++i) {
            sum += take<unsigned char>(stream, at);
            sum += static_cast<unsigned long long>(take<short>(stream, at));
            sum += static_cast<unsigned long long>(take<int>(stream, at));
            sum += static_cast<unsigned long long>(take<float>(stream, at));
            sum += take<unsigned short>(stream, at);
            sum += take<unsigned int>(stream, at);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * count * RECORD_BYTES);
}

} // namespace

BENCHMARK(BM_CByteBuffer_WriteMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_StdVectorResize_WriteMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_StdVectorStream_WriteMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_CByteBuffer_ReadMixed)->Arg(64)->Arg(4096);
BENCHMARK(BM_StdVectorStream_ReadMixed)->Arg(64)->Arg(4096);
BENCHMARK_MAIN();

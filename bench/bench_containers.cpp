// Containers beside their standard-library peers, in one program, so that
// each figure reads as a ratio. Library nodes come from the memory manager;
// the peers use the default allocator.
#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <foundation/CDataMap.h>
#include <text/CString.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <list>
#include <map>
#include <random>
#include <vector>

using namespace Trell;

namespace {

std::vector<int> shuffledKeys(int count)
{
    std::vector<int> keys(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        keys[static_cast<size_t>(i)] = i * 7;
    std::mt19937 random(42);
    std::shuffle(keys.begin(), keys.end(), random);
    return keys;
}

void BM_CDataArray_AddInt(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        CDataArray<int> array;
        for (int i = 0; i < count; ++i)
            array.add(i);
        benchmark::DoNotOptimize(array.getData());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_StdVector_PushBackInt(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::vector<int> array;
        for (int i = 0; i < count; ++i)
            array.push_back(i);
        benchmark::DoNotOptimize(array.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_CDataArray_AddString(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const CString text(u"a moderately long piece of text");
    for (auto _ : state) {
        CDataArray<CString> array;
        for (int i = 0; i < count; ++i)
            array.add(text);
        benchmark::DoNotOptimize(array.getData());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_StdVector_PushBackString(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    const CString text(u"a moderately long piece of text");
    for (auto _ : state) {
        std::vector<CString> array;
        for (int i = 0; i < count; ++i)
            array.push_back(text);
        benchmark::DoNotOptimize(array.data());
    }
    state.SetItemsProcessed(state.iterations() * count);
}

// Queue use, as the message center does: append at the tail, take from the head.
void BM_CDataList_Queue(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    CDataList<int> list;
    for (auto _ : state) {
        for (int i = 0; i < count; ++i)
            list.add(i);
        int sum = 0;
        while (!list.isEmpty())
            sum += list.takeFirst();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_StdList_Queue(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    std::list<int> list;
    for (auto _ : state) {
        for (int i = 0; i < count; ++i)
            list.push_back(i);
        int sum = 0;
        while (!list.empty()) {
            sum += list.front();
            list.pop_front();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * count);
}

void BM_CDataMap_InsertRemove(benchmark::State& state)
{
    const std::vector<int> keys = shuffledKeys(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        CDataMap<int, int> map;
        for (int key : keys)
            map.insert(key, key);
        for (int key : keys)
            map.remove(key);
        benchmark::DoNotOptimize(map.getCount());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

void BM_StdMap_InsertRemove(benchmark::State& state)
{
    const std::vector<int> keys = shuffledKeys(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::map<int, int> map;
        for (int key : keys)
            map.emplace(key, key);
        for (int key : keys)
            map.erase(key);
        benchmark::DoNotOptimize(map.size());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

void BM_CDataMap_Find(benchmark::State& state)
{
    const std::vector<int> keys = shuffledKeys(static_cast<int>(state.range(0)));
    CDataMap<int, int> map;
    for (int key : keys)
        map.insert(key, key);
    for (auto _ : state) {
        long long sum = 0;
        for (int key : keys)
            sum += *map.find(key);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

void BM_StdMap_Find(benchmark::State& state)
{
    const std::vector<int> keys = shuffledKeys(static_cast<int>(state.range(0)));
    std::map<int, int> map;
    for (int key : keys)
        map.emplace(key, key);
    for (auto _ : state) {
        long long sum = 0;
        for (int key : keys)
            sum += map.find(key)->second;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

// In-order walk: the map's parent-link iteration against std::map's.
void BM_CDataMap_Iterate(benchmark::State& state)
{
    const std::vector<int> keys = shuffledKeys(static_cast<int>(state.range(0)));
    CDataMap<int, int> map;
    for (int key : keys)
        map.insert(key, key);
    for (auto _ : state) {
        long long sum = 0;
        for (const auto& entry : map)
            sum += entry.value;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

void BM_StdMap_Iterate(benchmark::State& state)
{
    const std::vector<int> keys = shuffledKeys(static_cast<int>(state.range(0)));
    std::map<int, int> map;
    for (int key : keys)
        map.emplace(key, key);
    for (auto _ : state) {
        long long sum = 0;
        for (const auto& entry : map)
            sum += entry.second;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

} // namespace

BENCHMARK(BM_CDataArray_AddInt)->Arg(1000);
BENCHMARK(BM_StdVector_PushBackInt)->Arg(1000);
BENCHMARK(BM_CDataArray_AddString)->Arg(1000);
BENCHMARK(BM_StdVector_PushBackString)->Arg(1000);
BENCHMARK(BM_CDataList_Queue)->Arg(1000);
BENCHMARK(BM_StdList_Queue)->Arg(1000);
BENCHMARK(BM_CDataMap_InsertRemove)->Arg(10000);
BENCHMARK(BM_StdMap_InsertRemove)->Arg(10000);
BENCHMARK(BM_CDataMap_Find)->Arg(10000);
BENCHMARK(BM_StdMap_Find)->Arg(10000);
BENCHMARK(BM_CDataMap_Iterate)->Arg(10000);
BENCHMARK(BM_StdMap_Iterate)->Arg(10000);

BENCHMARK_MAIN();

// One collection of 100,000 tags against ten of 10,000: linear algorithms take the same time for both, as they use
// the same memory.

#include "tags/NTag.h"

#include <benchmark/benchmark.h>
#include <vector>

namespace w64 {

namespace {

constexpr int kTags = 100000;

NTag Tags(int count) {
    NTag tags;
    for (int i = 0; i < count; ++i)
        tags.AddTag((L"Name of tag " + Int2Str(i)).c_str(), L"the value of the tag");
    return tags;
}

std::vector<NTag> Collections(int count, int of) {
    std::vector<NTag> collections(static_cast<size_t>(count));
    for (NTag& tags : collections) tags = Tags(of);
    return collections;
}

template <int count>
void Pack(benchmark::State& state) {
    const std::vector<NTag> collections = Collections(count, kTags / count);
    std::vector<XMem> blocks(count);
    for ([[maybe_unused]] auto _ : state) {
        for (size_t i = 0; i < count; ++i) collections[i].ToRawMemory(blocks[i]);
        benchmark::ClobberMemory();
    }
}

template <int count>
void Unpack(benchmark::State& state) {
    XMem block;
    Tags(kTags / count).ToRawMemory(block);
    for ([[maybe_unused]] auto _ : state) {
        std::vector<NTag> collections(count);
        for (NTag& tags : collections) {
            tags.InitFromRawMemory(block.Data(), static_cast<long>(block.Size()));
            if (tags.Count() != kTags / count) state.SkipWithError("the block was not read");
        }
    }
}

// Half of the names already exist.
template <int count>
void Merge(benchmark::State& state) {
    const std::vector<NTag> halves = Collections(count, kTags / count / 2);
    const std::vector<NTag> others = Collections(count, kTags / count);
    for ([[maybe_unused]] auto _ : state) {
        std::vector<NTag> collections = halves;
        for (size_t i = 0; i < count; ++i) {
            collections[i].MergeFrom(others[i], true);
            if (collections[i].Count() != kTags / count) state.SkipWithError("the merge lost tags");
        }
    }
}

BENCHMARK(Pack<1>)->Name("Pack100kTags")->Unit(benchmark::kMicrosecond);
BENCHMARK(Pack<10>)->Name("PackTenTimes10kTags")->Unit(benchmark::kMicrosecond);
BENCHMARK(Unpack<1>)->Name("Unpack100kTags")->Unit(benchmark::kMicrosecond);
BENCHMARK(Unpack<10>)->Name("UnpackTenTimes10kTags")->Unit(benchmark::kMicrosecond);
BENCHMARK(Merge<1>)->Name("Merge100kTags")->Unit(benchmark::kMicrosecond);
BENCHMARK(Merge<10>)->Name("MergeTenTimes10kTags")->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace w64

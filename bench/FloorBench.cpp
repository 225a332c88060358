// What the same work takes at the very least: moving the bytes, or transforming each block there and back.

#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstring>
#include <fftw3.h>
#include <vector>

namespace w64 {

namespace {

// In blocks as the plug-in hands out, from memory that no cache holds.
void CopyGiBInMemory(benchmark::State& state) {
    constexpr size_t kBlock = 65532;
    constexpr size_t kBlocks = 4096;
    const std::vector<uint8_t> source(kBlock * kBlocks, 1);
    std::vector<uint8_t> block(kBlock);
    for ([[maybe_unused]] auto _ : state) {
        for (size_t i = 0; i < (size_t{1} << 30) / kBlock; ++i) {
            std::memcpy(block.data(), source.data() + i % kBlocks * kBlock, kBlock);
            benchmark::DoNotOptimize(block.data());
            benchmark::ClobberMemory();
        }
    }
}
BENCHMARK(CopyGiBInMemory)->Unit(benchmark::kMillisecond);

// Twenty seconds of stereo as complex points, in blocks that do not overlap.
template <int kSource, int kTarget>
void TransformTwice(benchmark::State& state) {
    constexpr int kBlocksPerSecond = 4;
    std::vector<fftw_complex> points(kSource / kBlocksPerSecond);
    std::vector<fftw_complex> target(kTarget / kBlocksPerSecond);
    const auto plan = [](std::vector<fftw_complex>& data, int sign) {
        return fftw_plan_dft_1d(static_cast<int>(data.size()), data.data(), data.data(), sign, FFTW_MEASURE);
    };
    fftw_plan there = plan(points, FFTW_FORWARD);
    fftw_plan back = plan(target, FFTW_BACKWARD);
    std::memset(points.data(), 0, points.size() * sizeof points[0]);
    std::memset(target.data(), 0, target.size() * sizeof target[0]);
    for ([[maybe_unused]] auto _ : state) {
        for (int i = 0; i < 20 * kBlocksPerSecond; ++i) {
            fftw_execute(there);
            fftw_execute(back);
        }
    }
    fftw_destroy_plan(there);
    fftw_destroy_plan(back);
}
BENCHMARK(TransformTwice<44100, 48000>)->Name("TransformTwice44100To48000")->Unit(benchmark::kMillisecond);
BENCHMARK(TransformTwice<96000, 44100>)->Name("TransformTwice96000To44100")->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace w64

// Converts the rate of twenty seconds, filter design included, against two peers: libsoxr's best recipe in doubles,
// without roll-off and with the same transition band of 100 Hz, and libsamplerate's best converter, which takes floats.
// The conversion to floats is not timed.

#include "Resampling.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <samplerate.h>

namespace w64 {

namespace {

constexpr int kSeconds = 20;

template <int kSource, int kTarget, int kChannels>
void ResampleByXAudioFreqConv(benchmark::State& state) {
    std::vector<double> samples = Noise(kChannels, kSource, kSeconds);
    for ([[maybe_unused]] auto _ : state) {
        if (!ConvertByXAudioFreqConv(samples, kChannels, kSource, kTarget))
            state.SkipWithError("the conversion failed");
    }
}

template <int kSource, int kTarget, int kChannels>
void ResampleBySoxr(benchmark::State& state) {
    const std::vector<double> samples = Noise(kChannels, kSource, kSeconds);
    for ([[maybe_unused]] auto _ : state) {
        if (!ConvertBySoxr(samples, kChannels, kSource, kTarget, 100))
            state.SkipWithError("the conversion failed");
    }
}

template <int kSource, int kTarget>
void ResampleBySampleRate(benchmark::State& state) {
    constexpr int64_t kBlockFrames = 4096;
    const std::vector<double> samples = Noise(2, kSource, kSeconds);
    const std::vector<float> in(samples.begin(), samples.end());
    std::vector<float> out(static_cast<size_t>(2 * kBlockFrames * 8));
    const auto frames = static_cast<int64_t>(in.size() / 2);
    for ([[maybe_unused]] auto _ : state) {
        int error = 0;
        SRC_STATE* const converter = src_new(SRC_SINC_BEST_QUALITY, 2, &error);
        SRC_DATA block{};
        block.data_out = out.data();
        block.output_frames = static_cast<long>(out.size() / 2);
        block.src_ratio = static_cast<double>(kTarget) / kSource;
        for (int64_t frame = 0; !error && frame < frames; frame += block.input_frames_used) {
            block.data_in = in.data() + 2 * frame;
            block.input_frames = std::min(kBlockFrames, frames - frame);
            block.end_of_input = frame + block.input_frames == frames;
            error = src_process(converter, &block);
        }
        src_delete(converter);
        if (error) state.SkipWithError("the conversion failed");
    }
}

#define RESAMPLE(source, target)                                                                             \
    BENCHMARK(ResampleByXAudioFreqConv<source, target, 2>)                                                   \
        ->Name("Resample" #source "To" #target)                                                              \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK(ResampleBySoxr<source, target, 2>)                                                             \
        ->Name("Resample" #source "To" #target "BySoxr")                                                     \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK(ResampleByXAudioFreqConv<source, target, 1>)                                                   \
        ->Name("ResampleMono" #source "To" #target)                                                          \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK(ResampleBySoxr<source, target, 1>)                                                             \
        ->Name("ResampleMono" #source "To" #target "BySoxr")                                                 \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK(ResampleBySampleRate<source, target>)                                                          \
        ->Name("Resample" #source "To" #target "BySampleRate")                                               \
        ->Unit(benchmark::kMillisecond)

RESAMPLE(44100, 48000);
RESAMPLE(48000, 44100);
RESAMPLE(44100, 96000);
RESAMPLE(96000, 44100);
RESAMPLE(192000, 44100);
RESAMPLE(44100, 192000);
RESAMPLE(8000, 44100);
RESAMPLE(96000, 48000);
RESAMPLE(48000, 96000);

}  // namespace

}  // namespace w64

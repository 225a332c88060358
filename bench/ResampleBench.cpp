// Converts the rate of twenty seconds of stereo, filter design included, against two peers: libsoxr's best recipe
// in doubles, without roll-off and with the same transition band of 100 Hz, and libsamplerate's best converter,
// which takes floats. The conversion to floats is not timed.

#include "audio/resample/XAudioFreqConv.h"

#include <benchmark/benchmark.h>
#include <samplerate.h>
#include <soxr.h>

#include <algorithm>
#include <random>
#include <vector>

namespace w64 {

namespace {

constexpr int64_t kBlockFrames = 4096;

std::vector<double> Noise(int rate) {
    std::vector<double> samples(static_cast<size_t>(20 * 2 * rate));
    std::mt19937_64 random(1);
    for (double& sample : samples) sample = static_cast<double>(random()) * 0x1p-63 - 1;
    return samples;
}

template <int kSource, int kTarget>
void ResampleByXAudioFreqConv(benchmark::State& state) {
    std::vector<double> samples = Noise(kSource);
    XAudioWFX format(2, kSource, 64);
    format.SetFormatTag(kTagFloat);
    const auto frames = static_cast<int64_t>(samples.size() / 2);
    for ([[maybe_unused]] auto _ : state) {
        XAudioFreqConv conv;
        bool good = conv.CreateNewConverter(format, kTarget, nullptr, UpwardEdge::SourceHalf);
        for (int64_t frame = 0; good && frame < frames; frame += kBlockFrames) {
            const int64_t count = std::min(kBlockFrames, frames - frame);
            XAudioBufferNew block(samples.data() + 2 * frame, 16 * count, format, true);
            good = conv.ConvertData(block, false, frame + count == frames);
            benchmark::DoNotOptimize(conv.BufferStart());
        }
        if (!good) state.SkipWithError("the conversion failed");
    }
}

template <int kSource, int kTarget>
void ResampleBySoxr(benchmark::State& state) {
    const std::vector<double> samples = Noise(kSource);
    std::vector<double> out(static_cast<size_t>(2 * kBlockFrames * 8));
    const auto frames = static_cast<int64_t>(samples.size() / 2);
    for ([[maybe_unused]] auto _ : state) {
        const soxr_io_spec_t layout = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
        soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, SOXR_ROLLOFF_NONE);
        quality.passband_end = 1 - 100.0 / (std::min(kSource, kTarget) / 2.0);
        const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);
        soxr_error_t error = nullptr;
        soxr_t soxr = soxr_create(kSource, kTarget, 2, &error, &layout, &quality, &runtime);
        size_t done = 0;
        for (int64_t frame = 0; !error && frame < frames; frame += kBlockFrames) {
            const int64_t count = std::min(kBlockFrames, frames - frame);
            error = soxr_process(soxr, samples.data() + 2 * frame, static_cast<size_t>(count), nullptr,
                                 out.data(), out.size() / 2, &done);
        }
        do {
            error = soxr_process(soxr, nullptr, 0, nullptr, out.data(), out.size() / 2, &done);
        } while (!error && done > 0);
        soxr_delete(soxr);
        if (error) state.SkipWithError("the conversion failed");
    }
}

template <int kSource, int kTarget>
void ResampleBySampleRate(benchmark::State& state) {
    const std::vector<double> samples = Noise(kSource);
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
    BENCHMARK(ResampleByXAudioFreqConv<source, target>)                                                      \
        ->Name("Resample" #source "To" #target)                                                              \
        ->Unit(benchmark::kMillisecond);                                                                     \
    BENCHMARK(ResampleBySoxr<source, target>)                                                                \
        ->Name("Resample" #source "To" #target "BySoxr")                                                     \
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

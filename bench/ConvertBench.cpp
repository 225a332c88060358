// Bit-depth and channel conversions, against a memcpy of the output's size or the larger side's. The audio is
// minutes long, so it fits in no cache.

#include "audio/pipeline/XAudioChannelConv.h"
#include "audio/samples/XAudioBitsConv.h"

#include <benchmark/benchmark.h>
#include <random>

namespace w64 {

namespace {

constexpr int64_t kSamples = int64_t{1} << 23;

XAudioWFX Format(int channels, int bits, bool isFloat) {
    XAudioWFX format(channels, 48000, bits);
    format.SetFormatTag(isFloat ? kTagFloat : kTagPCM);
    return format;
}

// Full-scale noise, so that branches are unpredictable; floats slightly exceed full scale.
XAudioBufferNew Audio(const XAudioWFX& format, int64_t frames) {
    std::mt19937 random;
    XAudioBufferNew audio(frames, format, false);
    audio.SetUsedSample(frames);
    XAudioRdWr samples(audio, 0, nullptr);
    for (int64_t i = 0; i < frames * format.Channels(); ++i) {
        samples.PutDbl(i, static_cast<double>(random()) * 0x1.2p-31 - 1.1);
    }
    return audio;
}

template <int from, bool fromFloat, int to, bool toFloat>
void ConvertBits(benchmark::State& state) {
    XAudioBufferNew audio = Audio(Format(1, from, fromFloat), kSamples);
    const XAudioWFX target = Format(1, to, toFloat);
    XAudioBitsConv conv;
    for ([[maybe_unused]] auto _ : state) {
        if (!conv.ConvertData(audio, target, false, nullptr)) state.SkipWithError("not converted");
        benchmark::ClobberMemory();
    }
}

constexpr const wchar_t* kNoise = L"dither=1;noise=tpdf";

void Dither(benchmark::State& state) {
    XAudioBufferNew audio = Audio(Format(2, 24, false), kSamples / 2);
    XAudioBitsConv conv;
    for ([[maybe_unused]] auto _ : state) {
        if (!conv.ConvertData(audio, Format(2, 16, false), false, kNoise))
            state.SkipWithError("not converted");
        benchmark::ClobberMemory();
    }
}

void DitherSingleSamples(benchmark::State& state) {
    XAudioBufferNew audio = Audio(Format(2, 24, false), kSamples / 2);
    XAudioBufferNew narrow(kSamples / 2, Format(2, 16, false), false);
    const XAudioRdWr reader(audio, 0, nullptr);
    XAudioRdWr writer(narrow, 0, kNoise);
    for ([[maybe_unused]] auto _ : state) {
        for (int64_t i = 0; i < kSamples; ++i) writer.PutInt(i, reader.GetInt(i));
        benchmark::ClobberMemory();
    }
}

template <int from, int to>
void ConvertChannels(benchmark::State& state) {
    XAudioBufferNew audio = Audio(Format(from, 24, false), kSamples / std::max(from, to));
    XAudioChannelConv conv;
    for ([[maybe_unused]] auto _ : state) {
        if (!conv.ConvertData(audio, to, false, nullptr)) state.SkipWithError("not converted");
        benchmark::ClobberMemory();
    }
}

template <int bits>
void Copy(benchmark::State& state) {
    const XAudioBufferNew audio = Audio(Format(1, bits, false), kSamples);
    XAudioBufferNew copy = audio;
    for ([[maybe_unused]] auto _ : state) {
        std::memcpy(copy.BufferStart(), audio.BufferStart(), static_cast<size_t>(audio.GetUsedByte()));
        benchmark::ClobberMemory();
    }
}

BENCHMARK(ConvertBits<16, false, 24, false>)->Name("Convert16To24")->Unit(benchmark::kMicrosecond);
BENCHMARK(ConvertBits<24, false, 16, false>)->Name("Convert24To16")->Unit(benchmark::kMicrosecond);
BENCHMARK(ConvertBits<24, false, 32, true>)->Name("Convert24ToFloat")->Unit(benchmark::kMicrosecond);
BENCHMARK(ConvertBits<32, true, 24, false>)->Name("ConvertFloatTo24")->Unit(benchmark::kMicrosecond);
BENCHMARK(ConvertBits<32, true, 16, false>)->Name("ConvertFloatTo16")->Unit(benchmark::kMicrosecond);
BENCHMARK(Dither)->Name("Dither24To16")->Unit(benchmark::kMicrosecond);
BENCHMARK(DitherSingleSamples)->Unit(benchmark::kMicrosecond);
BENCHMARK(ConvertChannels<6, 2>)->Name("Convert51ToStereo24")->Unit(benchmark::kMicrosecond);
BENCHMARK(ConvertChannels<1, 2>)->Name("ConvertMonoToStereo24")->Unit(benchmark::kMicrosecond);
BENCHMARK(Copy<16>)->Name("Copy16")->Unit(benchmark::kMicrosecond);
BENCHMARK(Copy<24>)->Name("Copy24")->Unit(benchmark::kMicrosecond);
BENCHMARK(Copy<32>)->Name("Copy32")->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace w64

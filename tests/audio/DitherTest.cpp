#include "audio/NOneChannelDither.h"
#include "audio/XAudioBitsConv.h"

#include "Formats.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

namespace {

constexpr wchar_t kNoise[] = L"dither=1; noise=tpdf";

TEST(NOneChannelDither, ReadsItsOptions) {
    NOneChannelDither dither;
    for (const auto& [options, level] :
         {std::pair(L"dither=3", 3), {L" x=1, dither = -2 ;noise=", -2}, {L"dither", 0}}) {
        dither.Create(16, options);
        EXPECT_EQ(dither.Level(), level);
        for (const int32_t value : {65535, -1, INT32_MAX}) EXPECT_EQ(dither.Dither(value), value >> 16);
    }
}

// The error of rounding with triangular noise has the same mean and power wherever between two steps the
// signal lies, and reaches one step and a half at most.
TEST(NOneChannelDither, ErrorDoesNotDependOnTheSignal) {
    constexpr int kCount = 100000;
    for (const int bits : {16, 24}) {
        const double step = std::ldexp(1, 32 - bits);
        for (const double fraction : {0.0, 0.25, 0.5, 0.9375}) {
            double sum = 0;
            double squares = 0;
            double product = 0;
            NOneChannelDither left;
            NOneChannelDither right;
            left.Create(bits, kNoise, 0);
            right.Create(bits, kNoise, 1);
            const auto value = static_cast<int32_t>((1000 + fraction) * step);
            for (int i = 0; i < kCount; ++i) {
                const double error = left.Dither(value) - value / step;
                ASSERT_LE(std::abs(error), 1.5);
                sum += error;
                squares += error * error;
                product += error * (right.Dither(value) - value / step);
            }
            EXPECT_NEAR(sum / kCount, 0, 0.01) << bits << " bits, " << fraction;
            EXPECT_NEAR(squares / kCount, 0.25, 0.005) << bits << " bits, " << fraction;
            EXPECT_NEAR(product / kCount, 0, 0.005) << bits << " bits, " << fraction;
        }
        NOneChannelDither full;
        full.Create(bits, kNoise);
        for (int i = 0; i < 100; ++i) {
            EXPECT_LT(full.Dither(INT32_MAX), 1 << (bits - 1));
            EXPECT_GE(full.Dither(INT32_MIN), -(1 << (bits - 1)));
        }
    }
}

// One of two channels, converted in parts.
std::vector<double> Requantised(XAudioBufferNew source, const wchar_t* options, int64_t partFrames,
                                int channel = 0) {
    std::vector<double> signal;
    XAudioBitsConv conv;
    const int64_t frames = source.GetUsedSample();
    for (int64_t first = 0; first < frames; first += partFrames) {
        XAudioBufferNew part(source.BufferStart() + source.SampleToBytes(first),
                             source.SampleToBytes(std::min(partFrames, frames - first)), source, true);
        EXPECT_TRUE(conv.ConvertData(part, 16, false, options, false));
        const XAudioRdWr samples(conv, 0, nullptr);
        for (int64_t i = channel; i < 2 * conv.GetUsedSample(); i += 2) signal.push_back(samples.GetDbl(i));
    }
    return signal;
}

double Power(const std::vector<double>& signal, double cyclesPerSample) {
    std::complex<double> sum;
    for (size_t i = 0; i < signal.size(); ++i) {
        sum += signal[i] * std::polar(1.0, 2 * std::numbers::pi * cyclesPerSample * static_cast<double>(i));
    }
    return std::norm(sum) / static_cast<double>(signal.size());
}

TEST(NOneChannelDither, NoiseKeepsAQuietSineFreeOfHarmonics) {
    constexpr int64_t kFrames = 48000;
    XAudioBufferNew source(kFrames, Format(kTagPCM, 2, 32, 48000), false);
    source.SetUsedSample(kFrames);
    XAudioRdWr samples(source, 0, nullptr);
    for (int64_t i = 0; i < 2 * kFrames; ++i) {
        samples.PutDbl(i, 1e-5 * std::sin(2 * std::numbers::pi / 48 * static_cast<double>(i / 2)));
    }
    const std::vector<double> cut = Requantised(source, L"dither=1", kFrames);
    const std::vector<double> noisy = Requantised(source, kNoise, kFrames);
    EXPECT_TRUE(Requantised(source, kNoise, 1001) == noisy) << "parts of a stream give the whole";
    const std::vector<double> right = Requantised(source, kNoise, kFrames, 1);
    double product = 0;
    for (size_t i = 0; i < right.size(); ++i) {
        const double sine = samples.GetDbl(static_cast<int64_t>(2 * i));
        product += (noisy[i] - sine) * (right[i] - sine);
    }
    EXPECT_NEAR(std::ldexp(product, 30) / kFrames, 0, 0.01) << "every channel has noise of its own";
    const double noise = 0.25 * 0x1p-30;  // of one frequency, on average
    double strongest = 0;
    for (int harmonic = 2; harmonic < 24; ++harmonic) {
        EXPECT_LT(Power(noisy, harmonic / 48.0), 10 * noise) << harmonic;
        strongest = std::max(strongest, Power(cut, harmonic / 48.0));
    }
    EXPECT_GT(strongest, 1000 * noise);
    EXPECT_NEAR(Power(noisy, 1 / 48.0), 1e-10 / 4 * kFrames, 1e-10 / 40 * kFrames) << "the sine itself";
}

}  // namespace

#pragma once

#include "audio/fft/CacheLineAllocator.h"
#include "audio/resample/XAudioFreqConvDesign.h"

#include <array>
#include <cstdint>
#include <vector>

namespace w64 {

// The frequency response of a filter times `scale`, at `points` bins from 0 up to its sampling rate. It is
// real, as the filters are symmetric about time 0. FFTGrid must take that many points.
AlignedDoubles ResponseOf(const LowPass& filter, double scale, int64_t points);

// The same at any bin of a longer transform, interpolated. There are at least 20 samples to each period of
// the response's fastest oscillation, so Lagrange's polynomial through the nearest of them is exact to the
// last digits.
class SmoothResponse {
public:
    static int64_t SamplesFor(const LowPass& filter);

    // Bin `period` is the filter's sampling rate.
    SmoothResponse(const LowPass& filter, double scale, double period);

    // `bin` is at most half the period.
    template <int kSamples>
    double At(int64_t bin) const {
        constexpr int kBefore = kSamples / 2 - 1;
        const double position = static_cast<double>(bin) * samplesPerBin_;
        const auto first = static_cast<int64_t>(position) - kBefore;
        const double* samples = samples_.data() + first + kReach;
        double distance[kSamples];
        double leading[kSamples];
        double product = 1;
        for (int i = 0; i < kSamples; ++i) {
            distance[i] = position - static_cast<double>(first + i);
            leading[i] = product;
            product *= distance[i];
        }
        double sum = 0;
        product = 1;
        for (int i = kSamples - 1; i >= 0; --i) {
            sum += samples[i] * leading[i] * product * kWeights<kSamples>[static_cast<size_t>(i)];
            product *= distance[i];
        }
        return sum;
    }

private:
    static constexpr int64_t kReach = 8;

    // Of each i, the product of 1 / (i - j) over all other j.
    template <int kSamples>
    static constexpr std::array<double, kSamples> kWeights = [] {
        std::array<double, kSamples> weights{};
        for (int i = 0; i < kSamples; ++i) {
            double product = 1;
            for (int j = 0; j < kSamples; ++j) product *= i == j ? 1 : i - j;
            weights[static_cast<size_t>(i)] = 1 / product;
        }
        return weights;
    }();

    double samplesPerBin_;
    std::vector<double> samples_;
};

}  // namespace w64

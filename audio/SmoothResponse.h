#pragma once

#include "audio/CacheLineAllocator.h"
#include "audio/XAudioFreqConvDesign.h"

#include <array>
#include <cstdint>
#include <vector>

// The response of a filter, scaled, at `points` frequencies from 0 up to its sampling rate: as many as FFTGrid
// takes.
Numbers ResponseOf(const LowPass& filter, double scale, int64_t points);

// The same at any place. It is so smooth between the frequencies of one transform of enough points that
// Lagrange's polynomial through the nearest of them gives it to the last digits.
class SmoothResponse {
public:
    static int64_t SamplesFor(const LowPass& filter);

    // Frequency `period` is the filter's sampling rate.
    SmoothResponse(const LowPass& filter, double scale, double period);

    // Up to half the period.
    template <int kSamples>
    double At(int64_t frequency) const {
        constexpr int kBefore = kSamples / 2 - 1;
        const double position = static_cast<double>(frequency) * samplesPerFrequency_;
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

    // 1 / (i - j) for all other j.
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

    double samplesPerFrequency_;
    std::vector<double> samples_;
};

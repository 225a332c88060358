#include "host/measure/ChannelMeter.h"

#include "audio/fft/VectorClones.h"

#include <algorithm>
#include <cmath>

namespace w64 {

using namespace fft;

namespace {

struct BlockLevels {
    double sum = 0;
    double squares = 0;
    double peak = 0;

    void Add(double sample) {
        sum += sample;
        squares += sample * sample;
        peak = std::max(peak, std::abs(sample));
    }
};

W64_VECTOR_CLONES BlockLevels LevelsOf(const double* samples, size_t count) {
    constexpr size_t kLanes = 4;
    Vector sum{};
    Vector squares{};
    Vector high{};
    Vector low{};
    const size_t whole = count / kLanes * kLanes;
    for (size_t i = 0; i < whole; i += kLanes) {
        const Vector sample = LoadVector(samples + i);
        sum += sample;
        squares += sample * sample;
        high = sample > high ? sample : high;
        low = sample < low ? sample : low;
    }
    BlockLevels levels;
    for (size_t lane = 0; lane < kLanes; ++lane) {
        levels.sum += sum[lane];
        levels.squares += squares[lane];
        levels.peak = std::max({levels.peak, high[lane], -low[lane]});
    }
    for (size_t i = whole; i < count; ++i) levels.Add(samples[i]);
    return levels;
}

}  // namespace

void ChannelMeter::Add(std::span<const double> samples) {
    const BlockLevels levels = LevelsOf(samples.data(), samples.size());
    sum_ += levels.sum;
    squares_ += levels.squares;
    peak_ = std::max(peak_, levels.peak);
    truePeak_.Add(samples);
    if (levels.peak < highest_) {
        run_ = 0;
    } else {
        CountClipped(samples);
    }
    if (levels.peak < SampleMeasures::kSilence) {
        if (silenceAtStart_ == samples_) silenceAtStart_ += static_cast<int64_t>(samples.size());
        silenceAtEnd_ += static_cast<int64_t>(samples.size());
    } else {
        FindSilence(samples);
    }
    samples_ += static_cast<int64_t>(samples.size());
}

void ChannelMeter::CountClipped(std::span<const double> samples) {
    for (const double sample : samples) {
        if (std::abs(sample) < highest_) {
            run_ = 0;
        } else if (++run_ == SampleMeasures::kClippedRun) {
            ++clippedRuns_;
            clippedSamples_ += run_;
        } else if (run_ > SampleMeasures::kClippedRun) {
            ++clippedSamples_;
        }
    }
}

// Before the first sample that is heard and after the last.
void ChannelMeter::FindSilence(std::span<const double> samples) {
    const auto isHeard = [](double sample) { return std::abs(sample) >= SampleMeasures::kSilence; };
    if (silenceAtStart_ == samples_)
        silenceAtStart_ += std::ranges::find_if(samples, isHeard) - samples.begin();
    silenceAtEnd_ = std::find_if(samples.rbegin(), samples.rend(), isHeard) - samples.rbegin();
}

SampleMeasures ChannelMeter::Measures() const {
    const double count = std::max(static_cast<double>(samples_), 1.0);
    return {.peak = peak_,
            .truePeak = truePeak_.Peak(),
            .rms = std::sqrt(squares_ / count),
            .dc = sum_ / count,
            .clippedRuns = clippedRuns_,
            .clippedSamples = clippedSamples_,
            .silenceAtStart = silenceAtStart_,
            .silenceAtEnd = silenceAtEnd_};
}

}  // namespace w64

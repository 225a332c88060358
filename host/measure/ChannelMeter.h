#pragma once

#include "host/measure/TruePeak.h"

#include <cstdint>
#include <span>

namespace w64 {

// What is measured of the samples of a channel, or of several.
// Units:  levels are amplitudes, full scale is 1.
struct SampleMeasures {
    double peak = 0;          // of the samples
    double truePeak = 0;      // of the waveform
    double rms = 0;           // 1 for a square wave at full scale, 0.707 for a sine
    double dc = 0;            // the mean
    int64_t clippedRuns = 0;  // kClippedRun or more samples in a row at full scale or above
    int64_t clippedSamples = 0;
    int64_t silenceAtStart = 0;  // samples below kSilence
    int64_t silenceAtEnd = 0;

    static constexpr int64_t kClippedRun = 3;
    static constexpr double kSilence = 0.001;  // -60 dBFS
};

// Measures one channel.
class ChannelMeter {
public:
    // `highest` is the largest sample of the format, just below 1 for integers.
    explicit ChannelMeter(double highest) : highest_(highest) {}

    // Any samples but infinities and NaNs.
    void Add(std::span<const double> samples);

    SampleMeasures Measures() const;

private:
    void CountClipped(std::span<const double> samples);
    void FindSilence(std::span<const double> samples);

    const double highest_;
    TruePeak truePeak_;
    int64_t samples_ = 0;
    double sum_ = 0;
    double squares_ = 0;
    double peak_ = 0;
    int64_t run_ = 0;  // samples up to the last one that are at full scale
    int64_t clippedRuns_ = 0;
    int64_t clippedSamples_ = 0;
    int64_t silenceAtStart_ = 0;
    int64_t silenceAtEnd_ = 0;
};

}  // namespace w64

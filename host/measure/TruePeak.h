#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace w64 {

// The peak of the waveform that the samples of one channel stand for: of the samples and of three points between
// each two. These points are interpolated by a sinc function under a Hann window of 24 samples.
// Units:  full scale is 1. Sines below 0.43 times the sample rate are met within 0.1 dB, except that their crest
//         may lie between two points: up to 0.6 dB above them at 0.45 times the rate, 0.1 dB at 0.2.
class TruePeak {
public:
    TruePeak();

    // Any samples but infinities and NaNs.
    void Add(std::span<const double> samples);

    // Before the first sample and after the last there is silence.
    double Peak() const;

private:
    void Measure();

    std::vector<double> waiting_;  // those before the next point, and those after it
    double peak_ = 0;
};

}  // namespace w64

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace w64 {

// The filters of a sample-rate conversion: Kaiser-windowed ideal low-passes with 170 dB of stop-band
// attenuation.
// Units:  rates and edges in Hz.

namespace resample {

double alpha(double attenuation);  // beta of the Kaiser window for an attenuation in dB
double izero(double x);            // modified Bessel function I0, by 15 terms of its series
double win(double n, double length, double alpha, double iza);  // Kaiser window; iza is izero(alpha)
double sinc(double x);
double hn_lpf(double n, double lpf, double fs);  // impulse response of the ideal low-pass

}  // namespace resample

// A linear-phase low-pass of odd length.
struct LowPass {
    int64_t length = 1;  // taps
    double edge = 0;     // middle of the transition band
    int64_t rate = 0;    // sampling rate

    // Upper bound of the stop-band edge, in Hz.
    double StopEdge() const;

    // From the centre on, all taps or every so many; the other half is its mirror image. A length of 1 passes
    // everything.
    std::vector<double> HalfOfTaps(int64_t every = 1) const;
};

// Where the stop band of the long filter begins in an upward conversion. Half the target rate keeps all that
// the target can hold, including the images of the source above half its rate. Half the source rate removes
// them, with a filter of the same length.
enum class UpwardEdge { TargetHalf, SourceHalf };

// A conversion in two stages with an intermediate rate of `branches` times longRate, at which the long filter
// works in as many polyphase branches. Upwards, and down to a whole part of the rate, the short filter comes
// first and the branches decimate to the target rate. Otherwise the long filter comes first, its branches
// interpolate from the source rate, and the short filter computes the target frames from their interleaved
// outputs.
struct FreqConvDesign {
    // Nothing when the ratio of the rates cannot be handled, or only by filters that pass nothing or are of an
    // unreasonable size.
    static std::optional<FreqConvDesign> Create(int64_t source, int64_t target, UpwardEdge edge);

    bool shortFirst = true;
    int64_t branches = 1;

    // The short filter counts time in units of its own sampling rate: its input frames are `phases` apart,
    // its outputs for one branch `step`, and those for neighbouring branches `branchStep`.
    LowPass shortFilter;
    int64_t phases = 1;
    int64_t step = 1;
    int64_t branchStep = 1;

    LowPass longFilter;
    double longScale = 1;
    int64_t longRate = 0;  // of one branch, in frames per second of playing time
};

}  // namespace w64

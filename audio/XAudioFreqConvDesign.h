#pragma once

#include <cstdint>
#include <optional>
#include <vector>

// The filters of a sample-rate conversion: Kaiser-windowed ideal low-passes of 170 dB.
// Units:  rates and edges in Hz.

double alpha(double attenuation);  // shape of the Kaiser window for an attenuation in dB
double izero(double x);            // modified Bessel function of order 0, by the first 15 terms of its series
double win(double n, double length, double alpha, double iza);  // Kaiser window; iza is izero(alpha)
double sinc(double x);
double hn_lpf(double n, double lpf, double fs);  // impulse response of the ideal low-pass

// A low-pass of odd length at a sampling rate.
struct LowPass {
    int64_t length = 1;
    double edge = 0;
    int64_t rate = 0;

    // From where on, at the latest, it stops what it stops.
    double StopEdge() const;

    // From the centre on; the other half mirrors them. A length of 1 lets everything pass.
    std::vector<double> HalfOfTaps() const;
};

// Where the long filter of an upward conversion ends. Half the target rate is what the target can hold; it
// leaves the mirror images between half the source rate and there, and gives the results that earlier
// conversions gave. Half the source rate removes the images too, with a filter of the same length.
enum class UpwardEdge { TargetHalf, SourceHalf };

// A conversion in two stages. Upwards, and down to a whole part of the rate, a short filter comes first and
// gives `streams` interleaved streams at the target rate, of which a long one makes the target. Down
// otherwise, the long filter gives `streams` interleaved streams at the source rate, and the short one picks
// the target from them.
struct FreqConvDesign {
    // Nothing when the ratio of the rates cannot be handled: its filters must be possible, let something pass and
    // be of a size that memory can be asked for.
    static std::optional<FreqConvDesign> Create(int64_t source, int64_t target, UpwardEdge edge);

    bool shortFirst = true;
    int64_t streams = 1;

    // The short filter counts time in units of which an input has `phases`, the outputs of one stream are
    // `step` apart, and those of neighbouring streams `streamStep`.
    LowPass shortFilter;
    int64_t phases = 1;
    int64_t step = 1;
    int64_t streamStep = 1;

    LowPass longFilter;
    double longScale = 1;
    int64_t longRate = 0;  // of the one stream, in frames per second of playing time
};

#pragma once

#include "RatePair.h"
#include "Resamplers.h"
#include "Stretch.h"

#include <array>

namespace w64 {

// What a resampler does to full-scale test signals at a pair of rates.
// Units:  levels in dB of a sine of full scale, frequencies and distances in Hz.
class Measurement {
public:
    Measurement(const Resampler& resampler, RatePair pair) : resampler_(resampler), pair_(pair) {}

    // Single tones over the whole band of the source, except within `distance` of the lower Nyquist
    // frequency. At multiples of half of the rates' common divisor two images coincide; about
    // `coincidentTones` of these are tried, evenly spread.
    struct Tones {
        double image;   // the strongest component, image or alias, that the source did not have
        double ripple;  // the largest deviation from 0 dB in the pass band
    };
    Tones MeasureTones(double distance, int coincidentTones) const;

    // The strongest image or alias of a sweep over the whole band of the source. Nothing is seen within some
    // 200 Hz of the swept frequency or of the ends of the spectrum.
    double ImageOfSweep() const;

    // What passes at the given distances beyond the lower Nyquist frequency: upwards the image of a tone as
    // far below it, downwards the alias of a tone above it.
    std::array<double, 2> LeaksBeyondNyquist(std::array<double, 2> distances) const;

    // The levels of two tones, or of their aliases.
    std::array<double, 2> Gains(std::array<double, 2> hertz) const;

    // The -3 dB frequency as a share of the lower Nyquist frequency.
    double PassBandEnd() const;

    // The delay of an impulse in frames of the target, by the slope of its phase in the pass band.
    double ImpulseDelay() const;

private:
    std::array<Stretch, 2> ConvertTones(std::array<double, 2> hertz) const;

    const Resampler& resampler_;
    RatePair pair_;
};

}  // namespace w64

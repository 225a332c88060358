#pragma once

#include "RatePair.h"
#include "Resamplers.h"
#include "Stretch.h"

#include <array>

// What a resampler does to test signals of full scale at a pair of rates.
// Units:  levels in dB of a sine of full scale, frequencies and distances in Hz.
class Measurement {
public:
    Measurement(const Resampler& resampler, RatePair pair) : resampler_(resampler), pair_(pair) {}

    // Of single tones over the whole band of the source, but for those nearer to the lower Nyquist frequency
    // than a distance. Where the frequency is a multiple of half of the rates' common divisor, images meet in
    // pairs; so many of these are tried, evenly spread.
    struct Tones {
        double image;   // the strongest component, image or alias, that the source did not have
        double ripple;  // the largest deviation from 0 dB in the pass band
    };
    Tones MeasureTones(double distance, int meetings) const;

    // The strongest image or alias of a sweep over the whole band of the source. What is within some 200 Hz of
    // the swept frequency, or of the ends of the spectrum, is not seen.
    double ImageOfSweep() const;

    // What passes at distances beyond the lower Nyquist frequency: the image that a tone on this side leaves
    // there, or the alias that a tone there leaves on this side.
    std::array<double, 2> LeaksBeyondNyquist(std::array<double, 2> distances) const;

    // The levels of two tones, or of their aliases.
    std::array<double, 2> Gains(std::array<double, 2> hertz) const;

    // Where tones are 3 dB down, as a share of the lower Nyquist frequency.
    double PassBandEnd() const;

    // How many frames of the target an impulse comes out late, by the angles of its spectrum in the pass band.
    double ImpulseDelay() const;

private:
    std::array<Stretch, 2> ConvertTones(std::array<double, 2> hertz) const;

    const Resampler& resampler_;
    RatePair pair_;
};

#pragma once

#include "Stereo.h"

#include <array>
#include <cstddef>

namespace w64 {

// A section of one channel, seen through a Kaiser window with side lobes at -238 dB.
// Units:  levels in dB of a sine of full scale; frequencies in Hz, of tones multiples of 1/64 Hz.
// Errors: std::out_of_range if the audio is too short.
class Stretch {
public:
    // `frames` frames, a power of two, from frame `first` on.
    Stretch(const Stereo& audio, size_t channel, int64_t first, size_t frames);

    // At least 1.2 seconds in the middle.
    Stretch(const Stereo& audio, size_t channel);

    // The smallest power of two of frames that lasts `seconds`.
    static size_t FramesFor(double seconds, int rate);

    // The level of a tone, fitted by least squares. Remove also subtracts it.
    double Level(double hertz) const;
    double Remove(double hertz);

    // The level of the strongest component, optionally within a band. At 0 Hz and half the rate, where it
    // coincides with its own mirror image, a component can read twice as strong as it is.
    double Strongest(double from, double to) const;
    double Strongest() const { return Strongest(0, rate_); }

private:
    std::array<double, 2> Fit(double hertz) const;

    int rate_;
    int64_t first_;
    std::vector<double> samples_;
};

}  // namespace w64

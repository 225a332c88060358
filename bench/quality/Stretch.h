#pragma once

#include "Stereo.h"

#include <array>
#include <cstddef>

// A stretch of one channel, seen through a Kaiser window whose side lobes lie 238 dB down.
// Units:  levels in dB of a sine of full scale; frequencies in Hz, those of tones multiples of 1/64.
// Errors: std::out_of_range when the audio is shorter.
class Stretch {
public:
    // From a frame on, a power of two of frames.
    Stretch(const Stereo& audio, size_t channel, int64_t first, size_t frames);

    // More than a second in the middle.
    Stretch(const Stereo& audio, size_t channel);

    // Enough frames for so many seconds.
    static size_t FramesFor(double seconds, int rate);

    // Of the tone that fits best.
    double Level(double hertz) const;
    double Remove(double hertz);

    // Of the strongest component, which may have been sought in a band only. At 0 Hz and half the rate, where
    // it meets its own mirror image, a component can read twice as strong as it is.
    double Strongest(double from, double to) const;
    double Strongest() const { return Strongest(0, rate_); }

private:
    std::array<double, 2> Fit(double hertz) const;

    int rate_;
    int64_t first_;
    std::vector<double> samples_;
};

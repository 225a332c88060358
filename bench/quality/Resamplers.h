#pragma once

#include "Stereo.h"

// A converter under test. `convert` takes a whole stream to another rate, and throws std::runtime_error when it
// cannot.
struct Resampler {
    const char* name;
    Stereo (*convert)(const Stereo& in, int targetRate);
};

// XAudioFreqConv in doubles, as XAudioConv uses it for high quality; and with its other edge.
extern const Resampler kOurs;
extern const Resampler kOursTargetHalf;

// libsoxr's best recipe as it comes, and without roll-off and with a transition band of 100 Hz, in doubles; the
// best converter of libsamplerate, which takes floats of 32 bits.
extern const Resampler kSoxr;
extern const Resampler kSteepSoxr;
extern const Resampler kSampleRate;

// Needs equal rates and only delays, by a frame: what is measured of it is what the measurement adds. The
// other one adds a tone of 1 kHz at -200 dB, which has to be seen.
extern const Resampler kNone;
extern const Resampler kAlmostNone;

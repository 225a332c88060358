#pragma once

#include "Stereo.h"

namespace w64 {

// A converter under test. `convert` converts a whole stream, or throws std::runtime_error.
struct Resampler {
    const char* name;
    Stereo (*convert)(const Stereo& in, int targetRate);
};

// XAudioFreqConv in doubles, as XAudioConv uses it for high quality, and with the other edge.
extern const Resampler kOurs;
extern const Resampler kOursTargetHalf;

// libsoxr's best recipe as it is, and without roll-off and with a transition band of 100 Hz, both in doubles;
// the best converter of libsamplerate, which takes 32-bit floats.
extern const Resampler kSoxr;
extern const Resampler kSteepSoxr;
extern const Resampler kSampleRate;

// A delay of one frame, for equal rates: shows what the measurement itself adds. The other also adds a tone
// of 1 kHz at -200 dB, which the measurement must show.
extern const Resampler kNone;
extern const Resampler kAlmostNone;

}  // namespace w64

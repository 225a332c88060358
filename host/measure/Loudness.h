#pragma once

#include "audio/format/XAudioWFX.h"

#include <cstddef>
#include <cstdint>
#include <ebur128.h>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace w64 {

// Loudness by EBU R 128, in LUFS; minus infinity for what is too soft to count.
struct LoudnessMeasures {
    double integrated;
    double momentaryMax;          // of any 400 ms
    std::optional<double> range;  // in LU; nothing for less than 3 s
};

// From the power of every 100 ms, as the loudness meter weights it; at least four of them.
LoudnessMeasures MeasureLoudness(std::span<const double> powers);

// How much a channel counts.
enum class SpeakerWeight : uint8_t { None, Front, Surround };

// Low frequencies do not count, speakers beside the listener count 1.5 dB more. Those in the back are taken to be
// beside, unless there are others that are. Without a mask up to eight channels stand for the speakers of the usual
// layouts, as in conversions; other unnamed channels count as in front.
std::vector<SpeakerWeight> SpeakerWeights(uint32_t channelMask, int channels);

// Measures the loudness of audio.
// Errors: Failure when memory is short.
class Loudness {
public:
    // Rates from 8000 Hz and up to 64 channels; above 192 kHz fewer.
    static bool Takes(const XAudioWFX& format);

    explicit Loudness(const XAudioWFX& format);

    // Interleaved frames; full scale is 1.
    void Add(std::span<const double> frames);

    // Nothing for less than 400 ms.
    std::optional<LoudnessMeasures> Measures() const;

private:
    struct Destroy {
        void operator()(ebur128_state* state) const { ebur128_destroy(&state); }
    };

    void EndStep();

    std::unique_ptr<ebur128_state, Destroy> state_;
    size_t framesPerStep_;  // 100 ms
    size_t framesOfStep_ = 0;
    std::vector<double> powers_;  // of the steps
};

}  // namespace w64

#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/measure/ChannelMeter.h"
#include "host/measure/Loudness.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace w64 {

// What is measured of some audio.
struct AudioMeasures {
    int64_t frames = 0;
    std::vector<SampleMeasures> channels;
    SampleMeasures all;  // the extremes of the channels, the RMS and the clipping of all, the common silence
    std::optional<LoudnessMeasures> loudness;
};

// Measures audio of any length in one pass.
// Errors: as Loudness.
class AudioMeter {
public:
    explicit AudioMeter(const XAudioWFX& format);

    // Interleaved frames; full scale is 1. Any samples but infinities and NaNs.
    void Add(std::span<const double> frames);

    AudioMeasures Measures() const;

private:
    void AddBlock(std::span<const double> frames);

    std::vector<ChannelMeter> channels_;
    std::optional<Loudness> loudness_;  // where the format can be measured
    std::vector<double> block_;         // of one channel
    int64_t frames_ = 0;
};

}  // namespace w64

#pragma once

#include "host/plot/Envelope.h"
#include "host/plot/Spectrogram.h"

#include <cstdint>
#include <vector>

namespace w64 {

// A small picture of audio: the waveform of all channels, and below it the spectrogram, without axes.
// Errors: Failure.
class Thumbnail {
public:
    static constexpr int kWidth = 300;
    static constexpr int kWaveformHeight = 40;
    static constexpr int kSpectrogramHeight = 56;
    static constexpr int kHeight = kWaveformHeight + kSpectrogramHeight;

    Thumbnail(int channels, int64_t expectedFrames);

    // Interleaved frames; full scale is 1.
    void Add(std::span<const double> frames);

    // The PNG file; call once, after the last of the frames. Empty when there were none.
    std::vector<uint8_t> Draw();

private:
    Envelope envelope_;
    Spectrogram spectrogram_;
};

}  // namespace w64

#pragma once

#include "host/formats/AudioReader.h"

#include <span>
#include <vector>

namespace w64 {

// The audio of a file of any kind, as numbers.
// Units:  interleaved doubles, full scale is 1. Infinities and NaNs read as 0; samples are clipped at 120 dB
//         above full scale.
// Errors: as AudioReader.
class FrameReader {
public:
    // Reads what is there of a damaged Wave64 file, if need be from a repaired copy in `copyFolder`.
    FrameReader(const std::string& path, const std::filesystem::path& copyFolder,
                const CommandContext& context, const AudioRange& range = {})
        : audio_(path, copyFolder, context, range) {}

    const XAudioWFX& Format() const { return audio_.Format(); }
    int64_t ExpectedFrames() const { return audio_.ExpectedFrames(); }
    int64_t Start() const { return audio_.Start(); }

    // The next frames, valid until the next call; empty at the end.
    std::span<const double> Read();

    // Samples so far that were infinite or NaN.
    int64_t NonFinite() const { return nonFinite_; }

    std::string Complaint() const { return audio_.Complaint(); }

private:
    void MakeFinite();

    AudioReader audio_;
    std::vector<double> samples_;
    int64_t nonFinite_ = 0;
};

}  // namespace w64

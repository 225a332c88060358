#pragma once

#include "host/decoder/DecoderInstance.h"
#include "host/formats/AudioSource.h"
#include "host/layout/Salvage.h"
#include "host/terminal/CommandContext.h"

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// The audio of a file of any kind: Wave64 through the decoder, others through libsndfile.
// Units:  interleaved doubles, full scale is 1. Infinities and NaNs read as 0; samples are clipped at 120 dB
//         above full scale.
// Errors: Failure from the constructor; a later one ends the audio and is kept as Complaint.
class FrameReader {
public:
    // Reads what is there of a damaged Wave64 file, if need be from a repaired copy in `copyFolder`.
    FrameReader(const std::string& path, const std::filesystem::path& copyFolder,
                const CommandContext& context);

    const XAudioWFX& Format() const { return format_; }  // of the decoded audio
    int64_t ExpectedFrames() const;                      // an estimate from the header

    // The next frames, valid until the next call; empty at the end.
    std::span<const double> Read();

    // Samples so far that were infinite or NaN.
    int64_t NoNumbers() const { return noNumbers_; }

    // Why the audio may be incomplete; empty when it is not.
    std::string Complaint() const;

private:
    void OpenWave64(const std::string& path, const std::filesystem::path& copyFolder,
                    const CommandContext& context);
    std::span<const uint8_t> ReadBytes();
    void MakeNumbers();

    std::string path_;
    std::optional<Salvage> salvage_;  // of a damaged file
    std::optional<PluginLibrary> library_;
    std::optional<DecoderInstance> decoder_;  // either this
    std::optional<AudioSource> source_;       // or this
    XAudioWFX format_;
    std::vector<double> samples_;
    int64_t noNumbers_ = 0;
    std::string failure_;
};

}  // namespace w64

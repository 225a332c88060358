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

// The audio of a file of any kind: Wave64 through the decoder, all else through libsndfile.
// Units:  doubles with full scale at 1, interleaved. Infinities and what is no number read as 0, and what is
//         more than 120 dB above full scale stays there.
// Errors: Failure while it is opened; later ones end the audio and are kept as Complaint.
class FrameReader {
public:
    // Of a damaged Wave64 file what there is; a repaired copy, where it takes one, is made in `copyFolder`.
    FrameReader(const std::string& path, const std::filesystem::path& copyFolder,
                const CommandContext& context);

    const XAudioWFX& Format() const { return format_; }  // of the decoded audio
    int64_t ExpectedFrames() const;                      // a guess, by what the file says

    // The next frames, valid until the next call; empty at the end.
    std::span<const double> Read();

    // Samples so far that are infinite or no numbers.
    int64_t NoNumbers() const { return noNumbers_; }

    // Why this may not be all that the file should hold; empty when it is.
    std::string Complaint() const;

private:
    void OpenWave64(const std::string& path, const std::filesystem::path& copyFolder,
                    const CommandContext& context);
    std::span<const uint8_t> ReadBytes();
    void MakeNumbers();

    std::optional<Salvage> salvage_;  // of a damaged file
    std::optional<PluginLibrary> library_;
    std::optional<DecoderInstance> decoder_;  // either this one
    std::optional<AudioSource> source_;       // or that one
    XAudioWFX format_;
    std::vector<double> samples_;
    int64_t noNumbers_ = 0;
    std::string failure_;
};

}  // namespace w64

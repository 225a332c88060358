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

// The audio of a file of any kind, with its samples as they are: Wave64 through the decoder, others through
// libsndfile.
// Errors: Failure from the constructor; a later one ends the audio and is kept as Complaint.
class AudioReader {
public:
    // With `copyFolder`, what is there of a damaged Wave64 file is read, if need be from a repaired copy there.
    // Without, such a file is refused.
    AudioReader(const std::string& path, const std::optional<std::filesystem::path>& copyFolder,
                const CommandContext& context);

    const XAudioWFX& Format() const { return format_; }  // of a known layout, with channels and a rate
    int64_t ExpectedFrames() const;                      // an estimate from the header

    // The next interleaved frames in WAVE layout, valid until the next call; empty at the end.
    std::span<const uint8_t> Read();

    // Why the audio may be incomplete; empty when it is not.
    std::string Complaint() const;

private:
    void OpenWave64(const std::optional<std::filesystem::path>& copyFolder, const CommandContext& context);

    std::string path_;
    std::optional<Salvage> salvage_;  // of a damaged file
    std::optional<PluginLibrary> library_;
    std::optional<DecoderInstance> decoder_;  // either this
    std::optional<AudioSource> source_;       // or this
    XAudioWFX format_;
    std::string failure_;
};

// The samples of whole frames as doubles, full scale is 1.
void ToDoubles(std::span<const uint8_t> frames, const XAudioWFX& format, std::vector<double>& samples);

}  // namespace w64

#pragma once

#include "host/decoder/DecoderInstance.h"
#include "host/formats/AudioSource.h"
#include "host/layout/Salvage.h"
#include "host/terminal/CommandContext.h"
#include "host/terminal/TimePoint.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// A part of some audio; all of it where neither end is given.
struct AudioRange {
    std::optional<TimePoint> start;
    std::optional<TimePoint> end;  // the first frame that does not belong to it
};

// The audio of a file of any kind, with its samples as they are: Wave64 through the decoder, others through
// libsndfile.
// Errors: Failure from the constructor; a later one ends the audio and is kept as Complaint.
class AudioReader {
public:
    // With `copyFolder`, what is there of a damaged Wave64 file is read, if need be from a repaired copy there.
    // Without, such a file is refused.
    AudioReader(const std::string& path, const std::optional<std::filesystem::path>& copyFolder,
                const CommandContext& context, const AudioRange& range = {});

    const XAudioWFX& Format() const { return format_; }  // of a known layout, with channels and a rate
    int64_t ExpectedFrames() const;                      // an estimate from the header, of the range
    int64_t Start() const { return start_; }             // of the range, in frames

    // The next interleaved frames in WAVE layout, valid until the next call; empty at the end.
    std::span<const uint8_t> Read();

    // Why the audio may be incomplete; empty when it is not.
    std::string Complaint() const;

private:
    void OpenWave64(const std::optional<std::filesystem::path>& copyFolder, const CommandContext& context,
                    const AudioRange& range);
    void OpenOther(const AudioRange& range);
    void SetRange(const AudioRange& range, uint32_t framesPerSecond);
    std::span<const uint8_t> ReadBlock();

    std::string path_;
    std::optional<Salvage> salvage_;  // of a damaged file
    std::optional<PluginLibrary> library_;
    std::optional<DecoderInstance> decoder_;  // either this
    std::optional<AudioSource> source_;       // or this
    XAudioWFX format_;
    int64_t frames_ = 0;  // of the whole audio, by the header
    int64_t start_ = 0;
    int64_t end_ = INT64_MAX;
    int64_t position_ = 0;  // of the next block, in frames
    std::string failure_;
};

// The samples of whole frames as doubles, full scale is 1.
void ToDoubles(std::span<const uint8_t> frames, const XAudioWFX& format, std::vector<double>& samples);

}  // namespace w64

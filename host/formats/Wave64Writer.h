#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/decoder/ReportChannels.h"
#include "host/files/FlushAhead.h"
#include "host/files/OutputFile.h"
#include "host/tagging/Metadata.h"
#include "wave64/container/clWave64Handler.h"

#include <cstdint>
#include <optional>
#include <span>

namespace w64 {

// Bytes of the padding chunk before the audio of a new file: room for its first tags.
constexpr unsigned kDefaultPadding = 4096;

// A new Wave64 file of one format.
// Order:  Write any number of times, then Finish; without Finish there is no file.
// Errors: Failure.
class Wave64Writer {
public:
    // The tags go before the audio, as a list of 16-bit texts, and right before the padding.
    // `padding` counts the chunk's header; 0 for none. Compressed audio needs a count of its frames, 0 where it is
    // unknown.
    Wave64Writer(const std::string& path, bool replace, const XAudioWFX& format, unsigned padding,
                 int traceDescriptor, const Metadata& metadata = {},
                 std::optional<uint32_t> frameCount = std::nullopt);

    // Interleaved frames in WAVE layout, or compressed audio.
    void Write(std::span<const uint8_t> audio);

    // Completes the file and closes it, so that it can be read back by the name that is returned; for before Finish.
    const std::filesystem::path& Close();
    void Finish();

private:
    void Complete();
    void Check(bool done) const;

    OutputFile output_;
    FlushAhead flush_;
    ReportChannels channels_;
    clWave64Handler chunks_;
};

}  // namespace w64

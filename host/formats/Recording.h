#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/files/InputFile.h"
#include "host/layout/ChunkWalk.h"

#include <cstdint>
#include <string>
#include <vector>

namespace w64 {

// A sound Wave64 file whose audio is to be copied in parts. It is open only while it is read.
// Errors: Failure, also for a file that is not sound.
class Recording {
public:
    explicit Recording(const std::string& name);

    const std::string& Name() const { return name_; }
    const std::vector<WalkedChunk>& Chunks() const { return chunks_; }
    const WalkedChunk& Audio() const { return chunks_[audio_]; }
    bool IsBeforeAudio(const WalkedChunk& chunk) const { return chunk.position < Audio().position; }

    const std::vector<uint8_t>& FormatRecord() const { return formatRecord_; }
    const XAudioWFX& Format() const { return format_; }
    int64_t FrameBytes() const { return format_.BlockAlign(); }

    // Errors: Failure for compressed audio, which has no frames to count.
    int64_t Frames() const;

    // How its frames differ from those of another; empty if they do not.
    std::string DifferenceTo(const Recording& other) const;

private:
    std::string name_;
    std::vector<WalkedChunk> chunks_;
    size_t audio_ = 0;
    std::vector<uint8_t> formatRecord_;
    XAudioWFX format_;
};

}  // namespace w64

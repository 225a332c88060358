#pragma once

#include "audio/format/XAudioWFX.h"
#include "base/XFile.h"
#include "host/layout/ChunkWalk.h"

#include <cstdint>
#include <optional>

namespace w64 {

// Where the audio of a file is, whatever its sizes say: they may be what a recorder wrote at the start, or of a
// file that was longer. What decodes or repairs damaged files goes by this.
struct AudioExtent {
    WalkedChunk chunk;                // by its header
    int64_t end = 0;                  // of the audio that is there, in the file
    std::optional<XAudioWFX> format;  // if it comes before the audio

    // By the header of the chunk.
    uint64_t Announced() const { return chunk.fit == ChunkFit::TooSmall ? 0 : chunk.ClaimedBytes(); }
    int64_t Bytes() const { return end - chunk.DataPosition(); }
    int64_t BytesOfWholeFrames() const;  // all bytes if the format is unknown or compressed
};

// Nothing if there is none, or if the file is not Wave64. An outer header may be damaged if most of it is right.
std::optional<AudioExtent> FindAudio(XFile& file);

// Compressed formats have no fixed number of bytes per frame.
bool HasFrames(const XAudioWFX& format);

}  // namespace w64

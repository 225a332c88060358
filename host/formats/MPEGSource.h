#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/files/InputFile.h"
#include "host/tagging/Metadata.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// The stream of MPEG frames (MPEG-1, 2 and 2.5, layers 1 to 3) in a file, byte for byte. What comes before the
// first MPEG frame and after the last whole one, such as tags, is not part of it.
// Units:  a frame is one sample of every channel; an MPEG frame holds up to 1152 of them.
// Errors: Failure.
class MPEGSource {
public:
    // Whether libmpg123 finds MPEG audio near the beginning, after any tags.
    static bool Recognises(const std::string& path);

    // Reads all MPEG frames.
    explicit MPEGSource(const std::string& path);

    // An MPEGLAYER3WAVEFORMAT or MPEG1WAVEFORMAT.
    const XAudioWFX& Format() const { return format_; }

    int64_t Frames() const { return frames_; }  // decoded, including the encoder's delay and padding
    int64_t Bytes() const { return end_ - start_; }

    // The next bytes of the stream, valid until the next call; empty at the end.
    std::span<const uint8_t> Read();

    // The tags before and after the stream.
    Metadata ReadMetadata();

    // What else the file holds, a line for each part.
    std::vector<std::string> DescribeRest();

private:
    bool HasTags(int64_t begin, int64_t end);
    bool HasTagAt(int64_t position);

    InputFile file_;
    XAudioWFX format_;
    int64_t frames_ = 0;
    int64_t start_ = 0;  // absolute bytes
    int64_t end_ = 0;
    int64_t position_ = 0;
    std::vector<uint8_t> block_;
};

}  // namespace w64

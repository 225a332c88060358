#pragma once

#include "host/formats/Recording.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// Frames of a recording.
struct FrameRange {
    int64_t start = 0;
    int64_t frames = 0;
};

// A new file with a part of the audio of a recording, or with one channel of it: what it has besides the audio, which
// its maker writes between Begin and End. It has the recording's format, its tags before the audio with room for more,
// a broadcast extension whose time is that of the part, and its other chunks, except those that hold places in the
// audio or levels of it.
// Errors: Failure.
class PartLayout {
public:
    enum class Kind { AllChannels, OneChannel };

    PartLayout(const Recording& recording, Kind kind);

    // Chunks, in words; a note that names them.
    const std::vector<std::string>& LeftOut() const { return leftOut_; }
    std::string NoteOfLeftOut() const;

    int64_t FrameBytes() const { return frameBytes_; }
    int64_t FileBytes(int64_t frames) const;

    // Writes everything up to the audio, and everything after it.
    void Begin(XFile& out, const FrameRange& part) const;
    void End(XFile& out, const FrameRange& part) const;

private:
    void Sort(XFile& file, Kind kind);
    std::vector<uint8_t> FormatOfOneChannel() const;
    int64_t BytesOf(const WalkedChunk& chunk) const;
    void Write(XFile& out, XFile& in, const WalkedChunk& chunk, const FrameRange& part) const;
    std::vector<uint8_t> NewBeginning(XFile& in, const WalkedChunk& chunk, const FrameRange& part) const;

    const Recording& recording_;
    std::vector<uint8_t> format_;
    int64_t frameBytes_;
    std::vector<WalkedChunk> before_;
    std::vector<WalkedChunk> after_;
    std::vector<std::string> leftOut_;
};

}  // namespace w64

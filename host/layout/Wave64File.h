#pragma once

#include "audio/format/XAudioWFX.h"
#include "base/XFile.h"
#include "host/decoder/ReportChannels.h"
#include "wave64/container/clWave64Handler.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// The record in a format chunk of `bytes` data at `position`, without what lies behind the longest possible
// one; nothing when it cannot be read.
std::optional<std::vector<uint8_t>> ReadFormatRecord(XFile& file, int64_t position, int64_t bytes);

// No recording is as long; a larger size in a header is none.
constexpr uint64_t kLongestRecording = uint64_t{1} << 50;

// A Wave64 file by its chunks: what the host wants to know before, or instead of, decoding it.
// Errors: none; a file that cannot be read or is no Wave64 has no chunks. The decoder says why.
class Wave64File {
public:
    explicit Wave64File(const std::filesystem::path& path);

    bool IsOpen() const { return file_.IsOpen(); }
    clWave64Handler& Chunks() { return chunks_; }
    int64_t FileBytes() const { return file_.Size(); }

    // The stored format; nothing when there is no readable one.
    const std::optional<XAudioWFX>& Format() const { return format_; }

    // Frames of audio by the sizes that the file gives; nothing where a stored block is not a frame.
    std::optional<int64_t> Frames();

    // What it has besides format and audio, in words: "tags (Title, Artist)", "broadcast extension".
    std::vector<std::string> Extras();

    // Bytes of chunk data that the file ought to have behind its end; padding does not count.
    int64_t MissingBytes();

    // Bytes of audio that are there, fewer than announced in a file that is cut off.
    int64_t PresentAudioBytes();

    // Of a file that is cut off, what is missing and what is there, in words; else empty.
    std::string DescribeCut();

    // The chunks follow each other to the end of the file without a complaint.
    bool IsWhole() const;

private:
    void ReadFormat();

    XFile file_;
    ReportChannels channels_;
    clWave64Handler chunks_;
    std::optional<XAudioWFX> format_;
};

}  // namespace w64

#pragma once

#include "audio/format/XAudioWFX.h"
#include "host/files/InputFile.h"
#include "host/tagging/Metadata.h"
#include "wave64/container/clWave64Handler.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace w64 {

// The record in a format chunk with `bytes` of data at `position`, truncated to the maximum length of a record;
// nothing if it cannot be read.
std::optional<std::vector<uint8_t>> ReadFormatRecord(XFile& file, int64_t position, int64_t bytes);

// A larger size in a header is not plausible.
constexpr uint64_t kMaxRecordingBytes = uint64_t{1} << 50;

// The chunks of a Wave64 file: what the host needs to know before, or instead of, decoding it.
// Errors: Failure for a file that cannot be read. One that is not Wave64 has no chunks; the decoder says why.
class Wave64File {
public:
    explicit Wave64File(const std::filesystem::path& path);

    clWave64Handler& Chunks() { return chunks_; }
    int64_t FileBytes() const { return file_.Size(); }

    // The stored format; nothing if there is no readable one.
    const std::optional<XAudioWFX>& Format() const { return format_; }

    // Frames of audio by the sizes in the file; nothing for formats whose blocks are not frames.
    std::optional<int64_t> Frames();

    // Its contents besides format and audio.
    Metadata ReadMetadata();

    // The data of the first broadcast extension that can be read; empty for none.
    std::vector<uint8_t> ReadBroadcastExtension() { return FindBroadcastExtension().data; }

    // Bytes of chunk data past the end of the file; padding does not count.
    int64_t MissingBytes();

    // Bytes of audio in the file, fewer than announced if it is cut off.
    int64_t PresentAudioBytes();

    // For a file that is cut off, what is missing and what is there, as a sentence; else empty.
    std::string DescribeCut();

private:
    struct FoundChunk {
        int index = -1;
        std::vector<uint8_t> data;
    };

    void ReadFormat();
    FoundChunk FindBroadcastExtension();
    void AddTags(Metadata& metadata);

    InputFile file_;
    clWave64Handler chunks_;
    std::optional<XAudioWFX> format_;
};

}  // namespace w64

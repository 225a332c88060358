#pragma once

#include "host/formats/SampleKind.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <sndfile.h>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// An audio file of any kind that libsndfile reads, as the WAVE format and bytes that hold its samples
// exactly. What WAVE has no plain form for is decoded: lossy codecs to float, others to 16 bit.
// Errors: Failure.
class AudioSource {
public:
    explicit AudioSource(const std::string& path);

    // The kind of file, one of libsndfile's SF_FORMAT_TYPEMASK; nothing where it is unknown. Failure for a kind
    // that is known by its first bytes and cannot be read.
    static std::optional<int> Container(const std::string& path);

    const WAVEFORMATEXTENSIBLE& Format() const { return format_; }
    int64_t Frames() const { return info_.frames; }  // as the file announces them

    // What the file has besides audio, in words: "tags (Title, Artist)", "markers".
    std::vector<std::string> Extras() const;

    // The next interleaved frames, valid until the next call; empty at the end.
    std::span<const uint8_t> Read();

private:
    struct CloseFile {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    using FileHandle = std::unique_ptr<SNDFILE, CloseFile>;

    static FileHandle Open(const std::string& path,
                           SF_INFO& info);  // null where the library takes it for no audio
    uint32_t ReadChannelMask() const;
    bool HasChunk(const std::string& code) const;
    sf_count_t ReadFrames();

    SF_INFO info_{};
    FileHandle file_;
    SampleKind kind_{};
    WAVEFORMATEXTENSIBLE format_{};
    sf_count_t framesPerRead_ = 1;
    sf_count_t framesRead_ = 0;
    std::vector<int32_t> samples_;
    std::vector<uint8_t> bytes_;
};

}  // namespace w64

#pragma once

#include "host/formats/AudioSink.h"
#include "host/formats/SampleKind.h"
#include "host/formats/SoundFileHandle.h"
#include "host/formats/SourceHeaders.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace w64 {

// An audio file of any kind that libsndfile reads, as a WAVE format and bytes that hold its samples exactly.
// Compressed audio is decoded: lossy codecs to float, others to 16 bits.
// Errors: Failure.
class AudioSource {
public:
    explicit AudioSource(const std::string& path);

    // The kind of file, one of libsndfile's SF_FORMAT_TYPEMASK; nothing where it is unknown. Failure for a file that
    // begins like a known kind and cannot be read.
    static std::optional<int> Container(const std::string& path);

    bool IsWave64() const { return (info_.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_W64; }
    const WAVEFORMATEXTENSIBLE& Format() const { return format_; }
    int64_t Frames() const { return info_.frames; }  // by its header

    // What the file has besides audio. Of a stream only what comes before the audio is known.
    Metadata ReadMetadata() const;

    // For a file that is cut off, what is missing and what is there, as a sentence; else empty.
    std::string DescribeCut() const;

    // Where to read on. False, and nothing is done, where the frames are not counted.
    [[nodiscard]] bool Seek(int64_t frame);

    // The next interleaved frames, valid until the next call; empty at the end. Fails if the audio ends too soon.
    std::span<const uint8_t> Read();

private:
    // Null if libsndfile does not recognise it as audio.
    static SoundFileHandle Open(const std::string& path, SF_INFO& info);
    std::vector<int> ReadChannelMap() const;
    void AddContentsOfStream(Metadata& metadata) const;
    std::optional<AudioFileType> TypeForTags() const;
    bool IsOfUnknownLength() const;
    sf_count_t ReadFrames();

    std::string path_;
    SF_INFO info_{};
    SoundFileHandle file_;
    std::optional<SourceHeaders> headers_;  // of a file; a stream is read once
    SampleKind kind_{};
    std::vector<size_t> order_;  // of channels that are not in the order of WAVE in the file
    WAVEFORMATEXTENSIBLE format_{};
    sf_count_t framesPerRead_ = 1;
    sf_count_t framesRead_ = 0;
    std::vector<int32_t> samples_;
    std::vector<uint8_t> bytes_;
    std::string failure_;  // after the last bytes that were read
};

}  // namespace w64

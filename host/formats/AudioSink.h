#pragma once

#include "audio/format/XAudioWFX.h"
#include "base/XFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace w64 {

// The kinds of file that decoded audio can be written to.
enum class AudioFileType { Wav, Flac, Raw };

// From the extension of a file name; nothing when it is unknown.
std::optional<AudioFileType> AudioFileTypeOf(std::string_view name);
std::string EndingOf(AudioFileType type);  // ".wav"

// Writes decoded audio, interleaved little-endian frames in WAVE layout, to a file.
// Order:  Write any number of times, then Finish; without Finish the file is broken.
// Errors: Failure.
class AudioSink {
public:
    AudioSink() = default;
    AudioSink(const AudioSink&) = delete;  // it is in the middle of a file
    AudioSink& operator=(const AudioSink&) = delete;
    virtual ~AudioSink() = default;

    virtual void Write(std::span<const uint8_t> frames) = 0;
    virtual void Finish() = 0;
};

// Where a sink writes: an empty, seekable file of its own, or a stream.
struct SinkTarget {
    XFile& file;
    bool seekable;
};

// `expectedBytes`: the length of the audio, where it is known.
std::unique_ptr<AudioSink> MakeWavSink(SinkTarget target, const XAudioWFX& format,
                                       std::optional<int64_t> expectedBytes);
std::unique_ptr<AudioSink> MakeFlacSink(SinkTarget target, const XAudioWFX& format);
std::unique_ptr<AudioSink> MakeRawSink(SinkTarget target);

}  // namespace w64

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

// By the ending of a file name; nothing when it is unknown.
std::optional<AudioFileType> AudioFileTypeOf(std::string_view name);
std::string EndingOf(AudioFileType type);  // ".wav"

// Takes decoded audio, as interleaved little-endian frames in WAVE layout, and makes a file of it.
// Order:  Write any number of times, then Finish; a sink that is dropped before leaves a broken file.
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

// Where a sink writes: a file of its own, empty and seekable, or a stream that only goes forward.
struct SinkTarget {
    XFile& file;
    bool seekable;
};

// `expectedBytes` of audio are to come, as far as that is known.
std::unique_ptr<AudioSink> MakeWavSink(SinkTarget target, const XAudioWFX& format,
                                       std::optional<int64_t> expectedBytes);
std::unique_ptr<AudioSink> MakeFlacSink(SinkTarget target, const XAudioWFX& format);
std::unique_ptr<AudioSink> MakeRawSink(SinkTarget target);

}  // namespace w64

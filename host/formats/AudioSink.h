#pragma once

#include "audio/format/XAudioWFX.h"
#include "base/XFile.h"
#include "host/tagging/Metadata.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace w64 {

// The kinds of file that decoded audio can be written to.
enum class AudioFileType { Wav, Flac, Aiff, Caf, Ogg, Opus, Mp3, Raw };

// From the extension of a file name; nothing when it is unknown.
std::optional<AudioFileType> AudioFileTypeOf(std::string_view name);
std::string EndingOf(AudioFileType type);  // ".wav"

bool IsLossy(AudioFileType type);
Metadata::Storable StorableIn(AudioFileType type);

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

struct SinkContent {
    const XAudioWFX& format;
    std::optional<int64_t> expectedBytes;  // of audio, where the length is known
    const Metadata& metadata;              // what the kind of file cannot store is left out
};

// Errors: Failure if the kind of file cannot hold the audio.
std::unique_ptr<AudioSink> MakeSink(AudioFileType type, SinkTarget target, const SinkContent& content);

// The same of one kind each. Only WAV of a known length can be written to a stream, and raw audio.
std::unique_ptr<AudioSink> MakeWavSink(SinkTarget target, const SinkContent& content);
std::unique_ptr<AudioSink> MakeSoundFileSink(AudioFileType type, XFile& file, const SinkContent& content);

}  // namespace w64

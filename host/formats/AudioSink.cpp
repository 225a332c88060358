#include "host/formats/AudioSink.h"

#include "base/StdioFile.h"
#include "host/files/InputFile.h"
#include "host/terminal/Failure.h"

#include <algorithm>
#include <array>
#include <unistd.h>
#include <utility>
#include <vector>

namespace w64 {

namespace {

constexpr std::array<std::pair<std::string_view, AudioFileType>, 10> kEndings = {
    {{".wav", AudioFileType::Wav},
     {".flac", AudioFileType::Flac},
     {".aiff", AudioFileType::Aiff},
     {".aif", AudioFileType::Aiff},
     {".caf", AudioFileType::Caf},
     {".ogg", AudioFileType::Ogg},
     {".opus", AudioFileType::Opus},
     {".mp3", AudioFileType::Mp3},
     {".raw", AudioFileType::Raw},
     {".pcm", AudioFileType::Raw}}};

class RawSink : public AudioSink {
public:
    explicit RawSink(XFile& file) : file_(file) {}

    void Write(std::span<const uint8_t> frames) override {
        if (!file_.Write(frames.data(), frames.size())) throw SystemFailure("cannot write");
    }

    void Finish() override {}

private:
    XFile& file_;
};

// Writes an unnamed temporary file, and copies it to the stream once it is complete: for files that are completed at
// their beginning.
class DetourSink : public AudioSink {
public:
    DetourSink(AudioFileType type, XFile& stream, const SinkContent& content)
        : stream_(stream), detour_(std::tmpfile()) {
        if (!detour_) throw SystemFailure("cannot create a temporary file");
        file_.Open(reinterpret_cast<void*>(intptr_t{::fileno(detour_.get())}));
        sink_ = MakeSink(type, {.file = file_, .seekable = true}, content);
    }

    void Write(std::span<const uint8_t> frames) override { sink_->Write(frames); }

    void Finish() override {
        sink_->Finish();
        std::vector<uint8_t> bytes(1 << 16);
        if (!file_.SetPosition(0)) throw SystemFailure("cannot read back a temporary file");
        while (const size_t got = file_.Read(bytes.data(), bytes.size())) {
            if (!stream_.Write(bytes.data(), got)) throw SystemFailure("cannot write");
        }
        RequireNoError(file_, "cannot read back a temporary file");
    }

private:
    XFile& stream_;
    StdioFile detour_;
    XFile file_;  // a view of it
    std::unique_ptr<AudioSink> sink_;
};

}  // namespace

std::optional<AudioFileType> AudioFileTypeOf(std::string_view name) {
    std::string ending(name.substr(std::min(name.rfind('.'), name.size())));
    std::ranges::transform(ending, ending.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const auto* found =
        std::ranges::find(kEndings, ending, &std::pair<std::string_view, AudioFileType>::first);
    return found == kEndings.end() ? std::nullopt : std::optional(found->second);
}

std::string EndingOf(AudioFileType type) {
    const auto* found =
        std::ranges::find(kEndings, type, &std::pair<std::string_view, AudioFileType>::second);
    return std::string(found->first);
}

bool IsLossy(AudioFileType type) {
    return type == AudioFileType::Ogg || type == AudioFileType::Opus || type == AudioFileType::Mp3;
}

Metadata::Storable StorableIn(AudioFileType type) {
    return {.tags = type != AudioFileType::Raw, .extension = type == AudioFileType::Wav};
}

std::unique_ptr<AudioSink> MakeSink(AudioFileType type, SinkTarget target, const SinkContent& content) {
    if (type == AudioFileType::Raw) return std::make_unique<RawSink>(target.file);
    const bool isWav = type == AudioFileType::Wav;
    if (!target.seekable && !(isWav && content.expectedBytes)) {
        return std::make_unique<DetourSink>(type, target.file, content);
    }
    return isWav ? MakeWavSink(target, content) : MakeSoundFileSink(type, target.file, content);
}

}  // namespace w64

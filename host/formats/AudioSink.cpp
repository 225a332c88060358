#include "host/formats/AudioSink.h"

#include "host/terminal/Failure.h"

#include <algorithm>
#include <array>
#include <utility>

namespace w64 {

namespace {

constexpr std::array<std::pair<std::string_view, AudioFileType>, 4> kEndings = {
    {{".wav", AudioFileType::Wav},
     {".flac", AudioFileType::Flac},
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

std::unique_ptr<AudioSink> MakeRawSink(SinkTarget target) { return std::make_unique<RawSink>(target.file); }

}  // namespace w64

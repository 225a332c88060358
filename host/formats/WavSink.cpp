// WAV, and RF64 (EBU Tech 3306) where the sizes need more than 32 bits.

#include "base/LittleEndian.h"
#include "host/formats/AudioSink.h"
#include "host/formats/SampleKind.h"
#include "host/tagging/TagNames.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

namespace w64 {

namespace {

constexpr size_t kSizesBytes = 28;  // of "ds64": three sizes of 64 bits, an empty table

template <class T>
std::string BytesOf(T value) {
    std::string bytes(sizeof value, '\0');
    base::Store(bytes.data(), value);
    return bytes;
}

// The size field of what does not fit into it, too.
uint32_t In32Bits(int64_t bytes) { return bytes > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(bytes); }

std::string RIFFChunk(const char* code, const std::string& data) {
    return code + BytesOf(static_cast<uint32_t>(data.size())) + data + std::string(data.size() % 2, '\0');
}

bool IsForWav(const XAudioWFX& format) {
    const SampleKind kind = KindOf(format);
    const bool isKnown = kind.tag == kTagFloat
                             ? kind.bits == 32 || kind.bits == 64
                             : kind.tag == kTagPCM && kind.bits % 8 == 0 && kind.bits >= 8 && kind.bits <= 32;
    return isKnown && format.BlockAlign() == format.Channels() * static_cast<int>(kind.bits / 8);
}

// Extensible only where there are speakers to name, as more programs read the plain record.
std::string FormatRecord(const XAudioWFX& format) {
    const uint32_t speakers = ChannelMaskOf(format);
    const SampleKind kind = KindOf(format);
    WAVEFORMATEXTENSIBLE record =
        MakeWaveFormat(kind, static_cast<unsigned>(format.Channels()), format.SamplesPerSec(), speakers);
    record.Format.wFormatTag = speakers != 0 ? kTagExtensible : kind.tag;
    record.Format.cbSize = sizeof record - sizeof record.Format;
    constexpr size_t kPlainBytes = sizeof record.Format - sizeof record.Format.cbSize;
    return {reinterpret_cast<const char*>(&record), speakers != 0 ? sizeof record : kPlainBytes};
}

std::string INFOList(const NTag& tags) {
    std::string texts;
    for (int i = 0; i < tags.Count(); ++i) {
        texts += RIFFChunk(INFOName(tags[i].Name).c_str(), ToPrintable(tags[i].Value) + '\0');
    }
    return texts.empty() ? "" : RIFFChunk("LIST", "INFO" + texts);
}

// What comes before the audio.
class WavHeader {
public:
    WavHeader(const SinkContent& content)
        : isFloat_(KindOf(content.format).tag == kTagFloat), frameBytes_(content.format.BlockAlign()),
          format_(RIFFChunk("fmt ", FormatRecord(content.format))), chunks_(INFOList(content.metadata.tags)) {
        const auto& extension = content.metadata.broadcastExtension;
        if (!extension.empty()) chunks_ = RIFFChunk("bext", {extension.begin(), extension.end()}) + chunks_;
        hasLongSizes_ = !content.expectedBytes || RIFFBytes(*content.expectedBytes) > UINT32_MAX;
    }

    std::string For(int64_t audioBytes) const {
        const int64_t riffBytes = RIFFBytes(audioBytes);
        const bool isLong = riffBytes > UINT32_MAX;
        if (isLong && !hasLongSizes_) throw Failure("there is more audio than the file announces");
        const int64_t frames = audioBytes / frameBytes_;
        std::string sizes;
        if (isLong) {
            sizes = RIFFChunk("ds64", BytesOf(riffBytes) + BytesOf(audioBytes) + BytesOf(frames) +
                                          BytesOf(uint32_t{0}));
        } else if (hasLongSizes_) {
            sizes = RIFFChunk("JUNK", std::string(kSizesBytes, '\0'));
        }
        return (isLong ? "RF64" : "RIFF") + BytesOf(isLong ? UINT32_MAX : In32Bits(riffBytes)) + "WAVE" +
               sizes + format_ + (isFloat_ ? RIFFChunk("fact", BytesOf(In32Bits(frames))) : "") + chunks_ +
               "data" + BytesOf(isLong ? UINT32_MAX : In32Bits(audioBytes));
    }

private:
    // The size field of the file.
    int64_t RIFFBytes(int64_t audioBytes) const {
        constexpr size_t kChunkHeader = 8;
        const size_t others = sizeof "WAVE" - 1 + (hasLongSizes_ ? kChunkHeader + kSizesBytes : 0) +
                              format_.size() + (isFloat_ ? kChunkHeader + sizeof(uint32_t) : 0) +
                              chunks_.size() + kChunkHeader;
        return static_cast<int64_t>(others) + audioBytes + audioBytes % 2;
    }

    bool isFloat_;
    int frameBytes_;
    std::string format_;
    std::string chunks_;
    bool hasLongSizes_ = false;  // or room for them
};

class WavSink : public AudioSink {
public:
    WavSink(SinkTarget target, const SinkContent& content)
        : file_(target.file), seekable_(target.seekable), expectedBytes_(content.expectedBytes.value_or(0)),
          header_(content), beginning_(header_.For(expectedBytes_)) {}

    void Write(std::span<const uint8_t> frames) override {
        audioBytes_ += std::ssize(frames);
        if (begun_) return Send(frames.data(), frames.size());
        beginning_.append(reinterpret_cast<const char*>(frames.data()), frames.size());
        if (beginning_.size() >= kMinFirstWrite) Begin();
    }

    void Finish() override {
        const bool isRight = audioBytes_ == expectedBytes_;
        if (!isRight && !seekable_) {
            throw Failure("the audio is not as long as expected, and the header with the wrong length is "
                          "already written");
        }
        if (!begun_) Begin();
        if (audioBytes_ % 2 != 0) Send("", 1);
        if (isRight) return;
        const std::string header = header_.For(audioBytes_);
        if (!file_.SetPosition(0)) throw SystemFailure("cannot write");
        Send(header.data(), header.size());
    }

private:
    // Readers such as SoX detect the kind of file from the first read of a pipe, and need 256 bytes or more.
    static constexpr size_t kMinFirstWrite = 4096;

    void Begin() {
        Send(beginning_.data(), beginning_.size());
        begun_ = true;
    }

    void Send(const void* data, size_t bytes) {
        if (!file_.Write(data, bytes)) throw SystemFailure("cannot write");
    }

    XFile& file_;
    bool seekable_;
    int64_t expectedBytes_;
    int64_t audioBytes_ = 0;
    WavHeader header_;
    std::string beginning_;  // the header and some audio, for one write
    bool begun_ = false;
};

}  // namespace

std::unique_ptr<AudioSink> MakeWavSink(SinkTarget target, const SinkContent& content) {
    if (IsForWav(content.format)) return std::make_unique<WavSink>(target, content);
    throw Failure("WAV holds 8, 16, 24 and 32-bit integers and 32 and 64-bit floats; this is " +
                  DescribeFormat(content.format));
}

}  // namespace w64

// WAV (RF64 where 4 GiB is passed) and FLAC, by libsndfile.

#include "audio/samples/XAudioRdWr.h"
#include "host/formats/AudioSink.h"
#include "host/formats/SoundFileHandle.h"
#include "host/formats/SoundFileOutput.h"
#include "host/formats/Speakers.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <unistd.h>
#include <vector>

namespace w64 {

namespace {

// Beyond this a WAV file needs 64-bit sizes. Leaves room for the header and what follows the audio.
constexpr int64_t kMaxWavBytes = 0xFFFFFFFF - 4096;

// 0 for samples that libsndfile cannot write.
int SubtypeOf(const XAudioWFX& format) {
    const bool isFloat = format.WFXFormatTag() == kTagFloat;
    switch (format.BitsPerSample()) {
    case 8:
        return isFloat ? 0 : SF_FORMAT_PCM_U8;
    case 16:
        return isFloat ? 0 : SF_FORMAT_PCM_16;
    case 24:
        return isFloat ? 0 : SF_FORMAT_PCM_24;
    case 32:
        return isFloat ? SF_FORMAT_FLOAT : SF_FORMAT_PCM_32;
    case 64:
        return isFloat ? SF_FORMAT_DOUBLE : 0;
    default:
        return 0;
    }
}

// FLAC has no unsigned samples.
int FlacSubtypeOf(const XAudioWFX& format) {
    const int subtype = SubtypeOf(format);
    return subtype == SF_FORMAT_PCM_U8 ? SF_FORMAT_PCM_S8 : subtype;
}

class SoundFileSink : public AudioSink {
public:
    void Finish() override {
        encoder_.reset();
        CheckWrites();
        output_->Finish();
    }

protected:
    SoundFileSink(std::unique_ptr<SoundFileOutput> output, const XAudioWFX& format)
        : format_(format), output_(std::move(output)) {}

    // `kind` of file and what it `holds`, for messages.
    void Start(const std::string& kind, const char* holds, int type, int subtype) {
        SF_INFO info{};
        info.samplerate = static_cast<int>(format_.SamplesPerSec());
        info.channels = format_.Channels();
        info.format = type | subtype;
        if (subtype == 0 || info.samplerate <= 0 || sf_format_check(&info) == 0) {
            throw Failure(kind + " holds " + holds + "; this is " + DescribeFormat(format_));
        }
        encoder_.reset(sf_open_virtual(SoundFileOutput::Calls(), SFM_WRITE, &info, output_.get()));
        if (!encoder_) {
            throw Failure(kind + " cannot hold " + DescribeFormat(format_) + ": " + sf_strerror(nullptr));
        }
    }

    SNDFILE* Encoder() { return encoder_.get(); }

    void CheckTaken(sf_count_t taken, sf_count_t offered) {
        CheckWrites();
        if (taken != offered) throw Failure(sf_strerror(encoder_.get()));
    }

    XAudioWFX format_;

private:
    // The library ignores the results of the last writes, so they are checked here.
    void CheckWrites() const {
        if (output_->WriteError() == 0) return;
        errno = output_->WriteError();
        throw SystemFailure("cannot write");
    }

    std::unique_ptr<SoundFileOutput> output_;
    SoundFileHandle encoder_;  // destroyed first: it writes to output_ as it closes
};

// WAV stores samples as the decoder delivers them.
class WavSink : public SoundFileSink {
public:
    WavSink(std::unique_ptr<SoundFileOutput> output, const XAudioWFX& format,
            std::optional<int64_t> expectedBytes)
        : SoundFileSink(std::move(output), format) {
        const std::vector<int> map = ChannelMapFromMask(ChannelMaskOf(format), format.Channels());
        Start("WAV", "8, 16, 24 and 32-bit integers and 32 and 64-bit floats of up to 1024 channels",
              expectedBytes.value_or(INT64_MAX) > kMaxWavBytes ? SF_FORMAT_RF64
              : map.empty()                                    ? SF_FORMAT_WAV
                                                               : SF_FORMAT_WAVEX,
              SubtypeOf(format));
        sf_command(Encoder(), SFC_RF64_AUTO_DOWNGRADE, nullptr, SF_TRUE);
        sf_command(Encoder(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
        if (!map.empty()) {
            sf_command(Encoder(), SFC_SET_CHANNEL_MAP_INFO, const_cast<int*>(map.data()),
                       static_cast<int>(map.size() * sizeof map[0]));
        }
    }

    void Write(std::span<const uint8_t> frames) override {
        const auto bytes = static_cast<sf_count_t>(frames.size());
        CheckTaken(sf_write_raw(Encoder(), frames.data(), bytes), bytes);
    }
};

// The library completes a header after the audio, which is too late for a stream. So it first writes as much
// silence to nowhere, and the resulting header is sent before the audio.
std::string WavHeader(const XAudioWFX& format, int64_t audioBytes) {
    auto output = std::make_unique<HeaderOutput>();
    const HeaderOutput& headerOutput = *output;
    WavSink sink(std::move(output), format, audioBytes);
    const std::vector<uint8_t> silence(static_cast<size_t>(XAudioWFX(format).BlockAlignBuffer(1 << 20)));
    for (int64_t left = audioBytes; left > 0; left -= std::ssize(silence)) {
        sink.Write(std::span(silence).first(static_cast<size_t>(std::min(left, std::ssize(silence)))));
    }
    sink.Finish();
    return headerOutput.Header();
}

class WavStreamSink : public AudioSink {
public:
    WavStreamSink(XFile& stream, const XAudioWFX& format, int64_t expectedBytes)
        : stream_(stream), left_(expectedBytes), padded_(expectedBytes % 2 != 0),
          beginning_(WavHeader(format, expectedBytes)) {}

    void Write(std::span<const uint8_t> frames) override {
        left_ -= std::ssize(frames);
        if (begun_) return Send(frames.data(), frames.size());
        beginning_.append(reinterpret_cast<const char*>(frames.data()), frames.size());
        if (beginning_.size() >= kMinFirstWrite) Begin();
    }

    void Finish() override {
        if (left_ != 0)
            throw Failure("the audio is not as long as expected, and the header with the wrong length is "
                          "already written");
        if (!begun_) Begin();
        if (padded_) Send("", 1);
    }

private:
    // Readers such as SoX detect the kind of file from the first read of a pipe, and need 256 bytes or more.
    static constexpr size_t kMinFirstWrite = 4096;

    void Begin() {
        Send(beginning_.data(), beginning_.size());
        begun_ = true;
    }

    void Send(const void* data, size_t bytes) {
        if (!stream_.Write(data, bytes)) throw SystemFailure("cannot write");
    }

    XFile& stream_;
    int64_t left_;
    bool padded_;
    bool begun_ = false;
    std::string beginning_;  // the header and some audio, for one write
};

class FlacSink : public SoundFileSink {
public:
    FlacSink(SinkTarget target, const XAudioWFX& format)
        : SoundFileSink(target.seekable ? MakeFileOutput(target.file) : MakeDetourOutput(target.file),
                        format) {
        Start("FLAC", "8, 16 and 24-bit integers of up to 8 channels", SF_FORMAT_FLAC, FlacSubtypeOf(format));
    }

    void Write(std::span<const uint8_t> frames) override {
        const auto bytes = static_cast<int64_t>(frames.size());
        const int64_t samples = format_.BytesToSamples_RAW(bytes);
        samples_.resize(std::max(static_cast<size_t>(samples), samples_.size()));
        auto* readOnly = const_cast<uint8_t*>(frames.data());  // only read
        XAudioRdWr(format_.wfx(), bytes, bytes, readOnly, nullptr).GetInts(0, samples, samples_.data());
        CheckTaken(sf_write_int(Encoder(), samples_.data(), samples), samples);
    }

    // The library writes the header with the first samples, so without audio there would be none.
    void Finish() override {
        if (samples_.empty()) throw Failure("there is no audio, and a FLAC file cannot be empty");
        SoundFileSink::Finish();
    }

private:
    std::vector<int32_t> samples_;
};

}  // namespace

std::unique_ptr<AudioSink> MakeWavSink(SinkTarget target, const XAudioWFX& format,
                                       std::optional<int64_t> expectedBytes) {
    if (target.seekable) return std::make_unique<WavSink>(MakeFileOutput(target.file), format, expectedBytes);
    if (expectedBytes) return std::make_unique<WavStreamSink>(target.file, format, *expectedBytes);
    return std::make_unique<WavSink>(MakeDetourOutput(target.file), format, expectedBytes);
}

std::unique_ptr<AudioSink> MakeFlacSink(SinkTarget target, const XAudioWFX& format) {
    return std::make_unique<FlacSink>(target, format);
}

}  // namespace w64

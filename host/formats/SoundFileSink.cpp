// FLAC, AIFF, CAF, Ogg Vorbis, Opus and MP3, by libsndfile.

#include "audio/samples/XAudioRdWr.h"
#include "host/files/InputFile.h"
#include "host/formats/AudioReader.h"
#include "host/formats/AudioSink.h"
#include "host/formats/SoundFileHandle.h"
#include "host/formats/SoundFileOutput.h"
#include "host/formats/Speakers.h"
#include "host/formats/TagLibTags.h"
#include "host/tagging/TagNames.h"
#include "host/tagging/TagTexts.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

namespace w64 {

namespace {

constexpr const char* kLinearSamples =
    "8, 16, 24 and 32-bit integers and 32 and 64-bit floats of up to 1024 channels";

// What a kind of file holds.
struct Container {
    const char* name;
    int format;           // libsndfile's
    const char* samples;  // in words; null for one that is lossy and takes any

    // Of a lossy one.
    int maxChannels = 0;
    int maxRate = 0;
    std::vector<int> rates = {};  // empty for all up to the highest
};

Container ContainerOf(AudioFileType type) {
    constexpr int kOpus = SF_FORMAT_OGG | SF_FORMAT_OPUS;
    constexpr int kMP3 = SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III;
    switch (type) {
    case AudioFileType::Aiff:
        return {"AIFF", SF_FORMAT_AIFF, kLinearSamples};
    case AudioFileType::Caf:
        return {"CAF", SF_FORMAT_CAF, kLinearSamples};
    case AudioFileType::Ogg:
        return {"Ogg Vorbis", SF_FORMAT_OGG | SF_FORMAT_VORBIS, nullptr, 8, 200000};
    case AudioFileType::Opus:
        return {"Opus", kOpus, nullptr, 8, 48000, {8000, 12000, 16000, 24000, 48000}};
    case AudioFileType::Mp3:
        return {"MP3", kMP3,  nullptr,
                2,     48000, {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000}};
    default:
        return {"FLAC", SF_FORMAT_FLAC, "8, 16 and 24-bit integers of up to 8 channels"};
    }
}

// 0 for samples that libsndfile cannot write. None of these files has unsigned samples.
int SubtypeOf(const XAudioWFX& format) {
    const bool isFloat = format.WFXFormatTag() == kTagFloat;
    switch (format.BitsPerSample()) {
    case 8:
        return isFloat ? 0 : SF_FORMAT_PCM_S8;
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

std::string DescribeRates(const Container& container) {
    if (container.rates.empty()) return "rates up to " + std::to_string(container.maxRate);
    std::vector<std::string> rates;
    for (const int rate : container.rates) rates.push_back(std::to_string(rate));
    return "rates of " + Joined(rates, ", ");
}

void RequireLossyFormat(const Container& container, const XAudioWFX& format) {
    const std::string name = container.name;
    const std::string found = "; this is " + DescribeFormat(format);
    const auto rate = int64_t{format.SamplesPerSec()};
    const auto& rates = container.rates;
    const bool isHeld =
        rate <= container.maxRate && (rates.empty() || std::ranges::find(rates, rate) != rates.end());
    if (!isHeld) {
        throw Failure(name + " holds " + DescribeRates(container) + " Hz" + found + "; --rate converts it");
    }
    if (format.Channels() > container.maxChannels) {
        throw Failure(name + " holds up to " + std::to_string(container.maxChannels) + " channels" + found +
                      "; --channels mixes them");
    }
}

// Where each channel of such a stream comes from; the channels of WAVE are taken for those of the usual layouts.
std::vector<size_t> VorbisOrder(int channels) {
    const std::vector<size_t> wave = WaveOrder(VorbisMap(channels));
    std::vector<size_t> order(wave.size());
    for (size_t i = 0; i < wave.size(); ++i) order[wave[i]] = i;
    return order;
}

std::string BigEndian(uint64_t number, size_t bytes) {
    std::string text(bytes, '\0');
    for (size_t i = bytes; i-- > 0; number >>= 8) text[i] = static_cast<char>(number & 0xFF);
    return text;
}

// The chunk "info" of CAF: a count, and names and values that end with zeros.
std::string CAFInfo(const NTag& tags) {
    std::string texts = BigEndian(static_cast<uint64_t>(tags.Count()), 4);
    for (int i = 0; i < tags.Count(); ++i) {
        texts += CAFName(tags[i].Name) + '\0' + ToPrintable(tags[i].Value) + '\0';
    }
    return "info" + BigEndian(texts.size(), 8) + texts;
}

class SoundFileSink : public AudioSink {
public:
    SoundFileSink(AudioFileType type, XFile& file, const SinkContent& content)
        : type_(type), container_(ContainerOf(type)), format_(content.format), tags_(content.metadata.tags),
          output_(file) {
        Start();
        NameSpeakers();
        ReserveRoomForTags();
    }

    void Write(std::span<const uint8_t> frames) override {
        samplesWritten_ += XAudioWFX(format_).BytesToSamples_RAW(std::ssize(frames));
        RequireRoom();
        if (IsLossy(type_)) {
            WriteFinite(frames);
        } else if (format_.WFXFormatTag() == kTagPCM) {
            WriteIntegers(frames);
        } else if (format_.BitsPerSample() == 32) {
            WriteAs<float>(frames, floats_, sf_write_float);
        } else {
            WriteAs<double>(frames, doubles_, sf_write_double);
        }
    }

    void Finish() override {
        // The library writes some headers with the first samples, so without audio there would be none.
        if (samplesWritten_ == 0 && (IsLossy(type_) || type_ == AudioFileType::Flac)) {
            throw Failure("there is no audio, and " + WithArticle() + " file cannot be empty");
        }
        encoder_.reset();
        CheckWrites();
        if (tags_.Count() > 0) WriteTags();
    }

private:
    void Start() {
        SF_INFO info{};
        info.samplerate = static_cast<int>(format_.SamplesPerSec());
        info.channels = format_.Channels();
        info.format = container_.format;
        if (IsLossy(type_)) {
            RequireLossyFormat(container_, format_);
        } else {
            const int subtype = SubtypeOf(format_);
            info.format |= subtype;
            if (subtype == 0 || info.samplerate <= 0 || sf_format_check(&info) == 0) {
                throw Failure(std::string(container_.name) + " holds " + container_.samples + "; this is " +
                              DescribeFormat(format_));
            }
        }
        encoder_.reset(sf_open_virtual(SoundFileOutput::Calls(), SFM_WRITE, &info, &output_));
        if (!encoder_) {
            throw Failure(std::string(container_.name) + " cannot hold " + DescribeFormat(format_) + ": " +
                          sf_strerror(nullptr));
        }
    }

    // Some kinds of files have no names for some speakers; lossy ones fix them.
    void NameSpeakers() {
        std::vector<int> map = ChannelMapFromMask(ChannelMaskOf(format_), format_.Channels());
        if (map.empty() || IsLossy(type_)) return;
        sf_command(encoder_.get(), SFC_SET_CHANNEL_MAP_INFO, map.data(),
                   static_cast<int>(map.size() * sizeof map[0]));
    }

    // The comments stand before the audio of FLAC, which would all have to move for them later.
    void ReserveRoomForTags() {
        if (type_ != AudioFileType::Flac || tags_.Count() == 0) return;
        constexpr size_t kMore = 2048;  // for later edits, and the overhead of blocks
        const std::string room(BytesAsComments(tags_) + kMore, ' ');
        if (sf_set_string(encoder_.get(), SF_STR_COMMENT, room.c_str()) != 0)
            throw Failure(sf_strerror(encoder_.get()));
    }

    void WriteTags() {
        if (type_ != AudioFileType::Caf) return WriteTagLibTags(output_.File(), EndingOf(type_), tags_);
        const std::string info = CAFInfo(tags_);
        XFile& file = output_.File();
        if (!file.SetPosition(file.Size()) || !file.Write(info.data(), info.size())) {
            throw SystemFailure("cannot write");
        }
    }

    void WriteIntegers(std::span<const uint8_t> frames) {
        const int64_t samples = format_.BytesToSamples_RAW(std::ssize(frames));
        integers_.resize(std::max(static_cast<size_t>(samples), integers_.size()));
        auto* readOnly = const_cast<uint8_t*>(frames.data());  // only read
        XAudioRdWr(format_.wfx(), std::ssize(frames), std::ssize(frames), readOnly, nullptr)
            .GetInts(0, samples, integers_.data());
        CheckTaken(sf_write_int(encoder_.get(), integers_.data(), samples), samples);
    }

    // The library wants them aligned.
    template <class Sample, class Call>
    void WriteAs(std::span<const uint8_t> frames, std::vector<Sample>& samples, Call write) {
        samples.resize(frames.size() / sizeof(Sample));
        std::memcpy(samples.data(), frames.data(), samples.size() * sizeof(Sample));
        CheckTaken(write(encoder_.get(), samples.data(), std::ssize(samples)), std::ssize(samples));
    }

    // Encoders may fail on what is not finite, and need much of the stack for large blocks.
    void WriteFinite(std::span<const uint8_t> frames) {
        constexpr double kMax = 8;  // 18 dB above full scale
        constexpr sf_count_t kFrames = 1024;
        ToDoubles(frames, format_, doubles_);
        for (double& sample : doubles_) sample = std::isnan(sample) ? 0 : std::clamp(sample, -kMax, kMax);
        ReorderChannels(std::span(doubles_), VorbisOrder(format_.Channels()));
        const sf_count_t piece = kFrames * format_.Channels();
        for (sf_count_t done = 0; done < std::ssize(doubles_); done += piece) {
            const sf_count_t samples = std::min(piece, std::ssize(doubles_) - done);
            CheckTaken(sf_write_double(encoder_.get(), doubles_.data() + done, samples), samples);
        }
    }

    // The sizes in AIFF have 32 bits, signed in some programs.
    void RequireRoom() const {
        constexpr int64_t kMaxBytes = (int64_t{1} << 32) - (1 << 16) - int64_t{Metadata::kMaxTextBytes};
        if (type_ != AudioFileType::Aiff || samplesWritten_ <= kMaxBytes / format_.BytesPerSample()) return;
        throw Failure("AIFF holds up to 4 GiB; CAF, FLAC and WAV hold more");
    }

    std::string WithArticle() const {
        const std::string name = container_.name;
        return (name == "MP3" || name[0] == 'O' ? "an " : "a ") + name;
    }

    void CheckTaken(sf_count_t taken, sf_count_t offered) {
        CheckWrites();
        if (taken != offered) throw Failure(sf_strerror(encoder_.get()));
    }

    // The library ignores the results of the last writes, so they are checked here.
    void CheckWrites() const { RequireNoError(output_.File(), "cannot write"); }

    AudioFileType type_;
    Container container_;
    XAudioWFX format_;
    NTag tags_;
    SoundFileOutput output_;
    SoundFileHandle encoder_;  // destroyed first: it writes to output_ as it closes
    int64_t samplesWritten_ = 0;
    std::vector<int32_t> integers_;
    std::vector<float> floats_;
    std::vector<double> doubles_;
};

}  // namespace

std::unique_ptr<AudioSink> MakeSoundFileSink(AudioFileType type, XFile& file, const SinkContent& content) {
    return std::make_unique<SoundFileSink>(type, file, content);
}

}  // namespace w64

#include "host/formats/AudioSource.h"

#include "audio/samples/XAudioRdWr.h"
#include "base/Saturating.h"
#include "host/files/InputFile.h"
#include "host/formats/Speakers.h"
#include "host/formats/TagLibTags.h"
#include "host/layout/ChunkKind.h"
#include "host/terminal/Failure.h"
#include "host/terminal/FormatText.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <unistd.h>
#include <utility>

namespace w64 {

namespace {

SampleKind KindOf(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_DPCM_8:
        return {kTagPCM, 8};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_DWVW_24:
        return {kTagPCM, 24};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
    case SF_FORMAT_DWVW_N:
        return {kTagPCM, 32};
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_VORBIS:
    case SF_FORMAT_OPUS:
    case SF_FORMAT_MPEG_LAYER_I:
    case SF_FORMAT_MPEG_LAYER_II:
    case SF_FORMAT_MPEG_LAYER_III:
        return {kTagFloat, 32};
    case SF_FORMAT_DOUBLE:
        return {kTagFloat, 64};
    default:
        return {kTagPCM, 16};
    }
}

constexpr std::array<std::pair<int, const char*>, 10> kStrings = {{{SF_STR_TITLE, "Title"},
                                                                   {SF_STR_COPYRIGHT, "Copyright"},
                                                                   {SF_STR_SOFTWARE, "Software"},
                                                                   {SF_STR_ARTIST, "Artist"},
                                                                   {SF_STR_COMMENT, "Comment"},
                                                                   {SF_STR_DATE, "Date"},
                                                                   {SF_STR_ALBUM, "Album"},
                                                                   {SF_STR_LICENSE, "License"},
                                                                   {SF_STR_TRACKNUMBER, "Track"},
                                                                   {SF_STR_GENRE, "Genre"}}};

// Opening such a pipe waits for its other end. One that is open already, as standard input, leads nowhere else.
bool IsNamedPipe(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_fifo(path, error) && !std::filesystem::canonical(path, error).empty();
}

// libsndfile reports some non-audio files as missing.
std::string OpenError(const std::string& path) {
    std::string reason = sf_strerror(nullptr);
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::is_block_file(status) || std::filesystem::is_character_file(status)) {
        return InputFile::kNoFile;
    }
    if (::access(path.c_str(), R_OK) != 0) return std::generic_category().message(errno);
    if (std::filesystem::is_directory(status)) {
        return std::make_error_code(std::errc::is_a_directory).message();
    }
    if (!std::filesystem::is_regular_file(status)) return reason;
    if (std::filesystem::file_size(path, error) == 0) return "the file is empty";
    const bool isUnknown = reason.starts_with("File does not exist") || reason.starts_with("Format not");
    return isUnknown ? "is not an audio file" : reason;
}

// Whether the file is of one of these kinds; MPEG frames could still be found in its later bytes.
bool BeginsLikeContainer(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return false;
    InputFile file(path);
    std::array<char, 4> bytes{};
    const size_t got = file.Read(bytes.data(), bytes.size());
    if (got < std::min<size_t>(static_cast<size_t>(file.Size()), bytes.size()))
        throw Failure("cannot read the header");
    const std::string_view code(bytes.data(), bytes.size());
    return std::ranges::any_of(std::array{"RIFF", "RIFX", "RF64", "riff", "FORM", "caff", "fLaC", "OggS"},
                               [&](const char* known) { return code == known; });
}

}  // namespace

AudioSource::AudioSource(const std::string& path) : path_(path), file_(Open(path, info_)) {
    if (!file_) throw Failure(OpenError(path));
    if (std::error_code error; std::filesystem::is_regular_file(path, error)) headers_.emplace(path);
    if (const int64_t bytes = headers_ ? headers_->BytesInNoChunk() : 0; bytes > 0 && info_.frames == 0) {
        throw Failure("the recording was never finished: by its header it has no audio, but " +
                      Counted(bytes, "byte") + " follow; sox --ignore-length reads them from WAV files");
    }
    kind_ = KindOf(info_.format);
    const auto channels = static_cast<unsigned>(info_.channels);
    const std::vector<int> map = ReadChannelMap();
    order_ = WaveOrder(map);
    format_ =
        MakeWaveFormat(kind_, channels, static_cast<uint32_t>(info_.samplerate), ChannelMaskFromMap(map));

    constexpr sf_count_t kReadBytes = 65536;
    framesPerRead_ = std::max<sf_count_t>(kReadBytes / format_.Format.nBlockAlign, 1);
    bytes_.resize(static_cast<size_t>(framesPerRead_) * format_.Format.nBlockAlign);
    samples_.resize(static_cast<size_t>(framesPerRead_) * channels);
}

std::optional<int> AudioSource::Container(const std::string& path) {
    SF_INFO info{};
    if (Open(path, info)) return info.format & SF_FORMAT_TYPEMASK;
    if (BeginsLikeContainer(path)) throw Failure(OpenError(path));
    return std::nullopt;
}

// The library goes on when it cannot read a part of the header, so its error is checked here.
SoundFileHandle AudioSource::Open(const std::string& path, SF_INFO& info) {
    if (IsNamedPipe(path)) throw Failure(InputFile::kNoFile);
    SoundFileHandle file(sf_open(path.c_str(), SFM_READ, &info));
    if (file && sf_error(file.get()) != SF_ERR_NO_ERROR) throw Failure(sf_strerror(file.get()));
    return file;
}

// Empty where the file does not tell.
std::vector<int> AudioSource::ReadChannelMap() const {
    if ((info_.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG) return VorbisMap(info_.channels);
    std::vector<int> map(static_cast<size_t>(info_.channels));
    const auto size = static_cast<int>(map.size() * sizeof map[0]);
    const bool known = sf_command(file_.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), size) == SF_TRUE;
    return known ? map : std::vector<int>();
}

Metadata AudioSource::ReadMetadata() const {
    Metadata metadata = headers_ ? headers_->Contents() : Metadata();
    if (!headers_) AddContentsOfStream(metadata);
    if (const auto type = TypeForTags()) {
        InputFile file(path_);
        ReadTagLibTags(file, EndingOf(*type), metadata);
        return metadata;
    }
    for (const auto& [string, name] : kStrings) {
        if (const char* text = sf_get_string(file_.get(), string)) metadata.AddMissing(name, text);
    }
    return metadata;
}

// Of a file with tags that TagLib reads.
std::optional<AudioFileType> AudioSource::TypeForTags() const {
    if (!headers_) return std::nullopt;
    switch (info_.format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
        return AudioFileType::Wav;
    case SF_FORMAT_AIFF:
        return AudioFileType::Aiff;
    case SF_FORMAT_FLAC:
        return AudioFileType::Flac;
    case SF_FORMAT_OGG:
        return (info_.format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS ? AudioFileType::Opus
                                                                    : AudioFileType::Ogg;
    case SF_FORMAT_MPEG:
        return AudioFileType::Mp3;
    default:
        return std::nullopt;
    }
}

void AudioSource::AddContentsOfStream(Metadata& metadata) const {
    for (auto* at = sf_get_chunk_iterator(file_.get(), nullptr); at; at = sf_next_chunk_iterator(at)) {
        SF_CHUNK_INFO chunk{};
        if (sf_get_chunk_size(at, &chunk) != SF_ERR_NO_ERROR) continue;
        const std::string code(chunk.id, std::min<size_t>(chunk.id_size, 4));
        if (code[0] != '\0' && code != "LIST" && !SourceHeaders::IsStructure(code)) {
            AddOnce(metadata.others, ContentOf(code));
        }
    }
}

std::string AudioSource::DescribeCut() const {
    if (!headers_) return "";
    const int64_t missing = headers_->MissingBytes();
    if (missing == 0) return "";
    const int64_t milliseconds = SaturatingMultiply(info_.frames, 1000) / info_.samplerate;
    return "the file is cut off, " + Counted(missing, "byte") + (missing == 1 ? " is" : " are") +
           " missing; " + FormatDuration(milliseconds) + " of audio (" + Counted(info_.frames, "frame") +
           ") is there";
}

// Some programs write a size of their own to a stream when they do not know how long it gets.
bool AudioSource::IsOfUnknownLength() const {
    switch (info_.format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_MPEG:  // the length is an estimate
        return true;
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_AIFF:
    case SF_FORMAT_AU:
        return !headers_ && SourceHeaders::LeavesLengthOpen(static_cast<uint64_t>(
                                SaturatingMultiply(info_.frames, format_.Format.nBlockAlign)));
    default:
        return false;
    }
}

bool AudioSource::Seek(int64_t frame) {
    if (info_.seekable == 0 || IsOfUnknownLength()) return false;
    framesRead_ = std::min(frame, info_.frames);
    if (sf_seek(file_.get(), framesRead_, SEEK_SET) < 0) throw Failure(sf_strerror(file_.get()));
    return true;
}

std::span<const uint8_t> AudioSource::Read() {
    if (!failure_.empty()) throw Failure(failure_);
    const sf_count_t frames = ReadFrames();
    framesRead_ += frames;
    if (sf_error(file_.get()) != SF_ERR_NO_ERROR) {
        failure_ = sf_strerror(file_.get());
    } else if (frames == 0 && framesRead_ < info_.frames && !IsOfUnknownLength()) {
        const bool isCounted = info_.frames < SF_COUNT_MAX;
        failure_ = "ends after " + std::to_string(framesRead_) +
                   (isCounted ? " of " + std::to_string(info_.frames) + " frames" : " frames, too soon");
    }
    if (frames == 0 && !failure_.empty()) throw Failure(failure_);
    return std::span(bytes_).first(static_cast<size_t>(frames) * format_.Format.nBlockAlign);
}

// Fills bytes_ and returns the number of frames.
sf_count_t AudioSource::ReadFrames() {
    const auto read = [this](auto call, auto* samples) {
        const sf_count_t frames = call(file_.get(), samples, framesPerRead_);
        ReorderChannels(std::span(samples, static_cast<size_t>(frames * info_.channels)), order_);
        return frames;
    };
    void* out = bytes_.data();
    if (kind_.tag == kTagFloat) {
        return kind_.bits == 64 ? read(sf_readf_double, static_cast<double*>(out))
                                : read(sf_readf_float, static_cast<float*>(out));
    }
    const sf_count_t frames = read(sf_readf_int, samples_.data());
    XAudioRdWr(&format_.Format, 0, 0, out, nullptr).PutInts(0, frames * info_.channels, samples_.data());
    return frames;
}

}  // namespace w64

#include "host/formats/AudioSource.h"

#include "audio/samples/XAudioRdWr.h"
#include "host/files/InputFile.h"
#include "host/formats/Speakers.h"
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

// libsndfile reports some non-audio files as missing.
std::string OpenError(const std::string& path) {
    const std::string reason = sf_strerror(nullptr);
    if (::access(path.c_str(), R_OK) != 0) return std::generic_category().message(errno);
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        return std::make_error_code(std::errc::is_a_directory).message();
    }
    const bool isThere = std::filesystem::is_regular_file(path, error);
    return isThere && reason.starts_with("File does not exist") ? "is not an audio file" : reason;
}

// Whether the file is of one of these kinds; MPEG frames could still be found in its later bytes.
bool BeginsLikeContainer(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return false;
    InputFile file(path);
    std::array<char, 4> bytes{};
    if (file.Read(bytes.data(), bytes.size()) < bytes.size()) throw Failure("cannot read the header");
    const std::string_view code(bytes.data(), bytes.size());
    return std::ranges::any_of(std::array{"RIFF", "RIFX", "RF64", "riff", "FORM", "caff", "fLaC", "OggS"},
                               [&](const char* known) { return code == known; });
}

}  // namespace

AudioSource::AudioSource(const std::string& path) : file_(Open(path, info_)) {
    if (!file_) throw Failure(OpenError(path));
    kind_ = KindOf(info_.format);
    const auto channels = static_cast<unsigned>(info_.channels);
    format_ = MakeWaveFormat(kind_, channels, static_cast<uint32_t>(info_.samplerate), ReadChannelMask());

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
    SoundFileHandle file(sf_open(path.c_str(), SFM_READ, &info));
    if (file && sf_error(file.get()) != SF_ERR_NO_ERROR) throw Failure(sf_strerror(file.get()));
    return file;
}

uint32_t AudioSource::ReadChannelMask() const {
    std::vector<int> map(static_cast<size_t>(info_.channels));
    const auto size = static_cast<int>(map.size() * sizeof map[0]);
    const bool known = sf_command(file_.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), size) == SF_TRUE;
    return known ? ChannelMaskFromMap(map) : 0;
}

std::vector<std::string> AudioSource::Extras() const {
    std::vector<std::string> extras;
    std::vector<std::string> tags;
    for (const auto& [string, name] : kStrings) {
        if (sf_get_string(file_.get(), string)) tags.push_back(name);
    }
    if (!tags.empty()) extras.push_back("tags (" + Joined(tags, ", ") + ")");
    for (const char* code : {"bext", "iXML", "axml", "chna", "cart", "cue ", "MARK", "inst", "INST", "smpl",
                             "acid", "id3 ", "ID3 ", "_PMX", "DISP"}) {
        if (HasChunk(code)) extras.push_back(ContentOf(code));
    }
    return extras;
}

bool AudioSource::HasChunk(const std::string& code) const {
    SF_CHUNK_INFO chunk{};
    code.copy(chunk.id, code.size());
    chunk.id_size = static_cast<unsigned>(code.size());
    return sf_get_chunk_iterator(file_.get(), &chunk) != nullptr;
}

std::span<const uint8_t> AudioSource::Read() {
    const sf_count_t frames = ReadFrames();
    if (sf_error(file_.get()) != SF_ERR_NO_ERROR) throw Failure(sf_strerror(file_.get()));
    framesRead_ += frames;
    const bool isEstimate = (info_.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG;
    if (frames == 0 && framesRead_ < info_.frames && !isEstimate) {
        throw Failure("ends after " + std::to_string(framesRead_) + " of " + std::to_string(info_.frames) +
                      " frames");
    }
    return std::span(bytes_).first(static_cast<size_t>(frames) * format_.Format.nBlockAlign);
}

// Fills bytes_ and returns the number of frames.
sf_count_t AudioSource::ReadFrames() {
    void* out = bytes_.data();
    if (kind_.tag == kTagFloat) {
        return kind_.bits == 64 ? sf_readf_double(file_.get(), static_cast<double*>(out), framesPerRead_)
                                : sf_readf_float(file_.get(), static_cast<float*>(out), framesPerRead_);
    }
    const sf_count_t frames = sf_readf_int(file_.get(), samples_.data(), framesPerRead_);
    XAudioRdWr(&format_.Format, 0, 0, out, nullptr).PutInts(0, frames * info_.channels, samples_.data());
    return frames;
}

}  // namespace w64

#pragma once

#include "Bytes.h"
#include "host/formats/SoundFileHandle.h"

#include <filesystem>
#include <map>
#include <stdexcept>

namespace w64 {

// The kinds of samples that are not compressed, and their bytes.
inline const std::map<int, size_t> kLinearKinds = {{SF_FORMAT_PCM_U8, 1}, {SF_FORMAT_PCM_16, 2},
                                                   {SF_FORMAT_PCM_24, 3}, {SF_FORMAT_PCM_32, 4},
                                                   {SF_FORMAT_FLOAT, 4},  {SF_FORMAT_DOUBLE, 8}};

// Audio files through libsndfile, the independent witness.
class SoundFile {
public:
    explicit SoundFile(const std::filesystem::path& path) { Open(path, SFM_READ); }
    SoundFile(const std::filesystem::path& path, int format, int channels)
        : info_{0, 44100, channels, format, 0, 0} {
        Open(path, SFM_WRITE);
    }

    const SF_INFO& Info() const { return info_; }
    int Kind() const { return info_.format & SF_FORMAT_SUBMASK; }
    int Container() const { return info_.format & SF_FORMAT_TYPEMASK; }

    void WriteRaw(const Bytes& bytes) {
        sf_write_raw(file_.get(), bytes.data(), static_cast<sf_count_t>(bytes.size()));
    }
    void WriteInts(const std::vector<int>& samples) {
        sf_write_int(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
    }

    // All samples as they lie in the file.
    Bytes ReadRaw() {
        Bytes bytes(static_cast<size_t>(info_.frames * info_.channels) * kLinearKinds.at(Kind()));
        const auto wanted = static_cast<sf_count_t>(bytes.size());
        bytes.resize(static_cast<size_t>(sf_read_raw(file_.get(), bytes.data(), wanted)));
        return bytes;
    }

    // All samples between -1 and 1; exact for every linear kind.
    std::vector<double> ReadSamples() {
        std::vector<double> samples(static_cast<size_t>(info_.frames * info_.channels));
        const auto wanted = static_cast<sf_count_t>(samples.size());
        samples.resize(static_cast<size_t>(sf_read_double(file_.get(), samples.data(), wanted)));
        return samples;
    }

    // The speaker of each channel, where the file tells.
    std::vector<int> ChannelMap() {
        std::vector<int> map(static_cast<size_t>(info_.channels));
        const auto bytes = static_cast<int>(map.size() * sizeof map[0]);
        sf_command(file_.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), bytes);
        return map;
    }

private:
    void Open(const std::filesystem::path& path, int mode) {
        file_.reset(sf_open(path.c_str(), mode, &info_));
        if (!file_) throw std::runtime_error(path.string() + ": " + sf_strerror(nullptr));
    }

    SF_INFO info_{};
    SoundFileHandle file_;
};

}  // namespace w64

#pragma once

#include "Bytes.h"

#include <filesystem>
#include <memory>
#include <sndfile.h>
#include <stdexcept>

// Audio files through libsndfile, the independent witness.
class SoundFile {
public:
    explicit SoundFile(const std::filesystem::path& path) { Open(path, SFM_READ); }
    SoundFile(const std::filesystem::path& path, int format, int channels, int rate = 44100)
        : info_{0, rate, channels, format, 0, 0} {
        Open(path, SFM_WRITE);
    }

    // Of a sample, for the linear kinds.
    static size_t BytesOf(int kind) {
        switch (kind) {
        case SF_FORMAT_PCM_U8:
            return 1;
        case SF_FORMAT_PCM_16:
            return 2;
        case SF_FORMAT_PCM_24:
            return 3;
        case SF_FORMAT_DOUBLE:
            return 8;
        default:
            return 4;
        }
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
        Bytes bytes(static_cast<size_t>(info_.frames * info_.channels) * BytesOf(Kind()));
        const sf_count_t got = sf_read_raw(file_.get(), bytes.data(), static_cast<sf_count_t>(bytes.size()));
        bytes.resize(static_cast<size_t>(got));
        return bytes;
    }

    // All samples between -1 and 1; exact for every linear kind.
    std::vector<double> ReadSamples() {
        std::vector<double> samples(static_cast<size_t>(info_.frames * info_.channels));
        const sf_count_t got =
            sf_read_double(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size()));
        samples.resize(static_cast<size_t>(got));
        return samples;
    }

    std::vector<int> ChannelMap() {
        std::vector<int> map(static_cast<size_t>(info_.channels));
        const bool known =
            sf_command(file_.get(), SFC_GET_CHANNEL_MAP_INFO, map.data(), MapBytes(map)) == SF_TRUE;
        return known ? map : std::vector<int>();
    }
    void SetChannelMap(std::vector<int> map) {
        if (sf_command(file_.get(), SFC_SET_CHANNEL_MAP_INFO, map.data(), MapBytes(map)) != SF_TRUE) {
            throw std::runtime_error("no channel map");
        }
    }

private:
    struct Close {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    void Open(const std::filesystem::path& path, int mode) {
        file_.reset(sf_open(path.c_str(), mode, &info_));
        if (!file_) throw std::runtime_error(path.string() + ": " + sf_strerror(nullptr));
    }
    static int MapBytes(const std::vector<int>& map) { return static_cast<int>(map.size() * sizeof map[0]); }

    SF_INFO info_{};
    std::unique_ptr<SNDFILE, Close> file_;
};

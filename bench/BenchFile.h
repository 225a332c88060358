#pragma once

#include "base/LittleEndian.h"
#include "wave64/container/ChunkCodes.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace w64 {

// A Wave64 file of 24-bit stereo in the temporary folder, removed at the end. `chunks` chunks of `chunkBytes`
// bytes each, a multiple of 8, precede the audio.
class BenchFile {
public:
    static constexpr int kAudioOffset = 104;  // without chunks before it

    BenchFile(const std::string& name, size_t chunks, size_t chunkBytes, size_t audioBytes)
        : path_(std::filesystem::temp_directory_path() / (name + "-" + std::to_string(::getpid()) + ".w64")) {
        std::ofstream file(path_, std::ios::binary);
        Put(file, ConvertToGUID(RIFFChnkID("RIFF")));
        Put(file, uint64_t{40 + 40 + chunks * (24 + chunkBytes) + 24 + audioBytes});
        Put(file, ConvertToGUID(RIFFChnkID("WAVE")));
        PutHeader(file, "fmt ", 16);
        constexpr uint16_t format[] = {1, 2, 48000, 0, 25856, 4, 6, 24};  // the 32-bit fields in halves
        Put(file, format);
        const std::vector<char> chunk(chunkBytes);
        for (size_t i = 0; i < chunks; ++i) {
            PutHeader(file, "bext", chunkBytes);
            file.write(chunk.data(), static_cast<std::streamsize>(chunkBytes));
        }
        PutHeader(file, "data", audioBytes);
        const std::vector<char> block(65536, 0x33);
        for (size_t left = audioBytes; left > 0; left -= block.size()) file.write(block.data(), 65536);
    }
    BenchFile(const BenchFile&) = delete;
    BenchFile& operator=(const BenchFile&) = delete;
    ~BenchFile() { std::filesystem::remove(path_); }

    const std::filesystem::path& Path() const { return path_; }

private:
    template <class T>
    static void Put(std::ofstream& file, const T& value) {
        file.write(reinterpret_cast<const char*>(&value), sizeof value);
    }
    static void PutHeader(std::ofstream& file, const char* code, size_t dataBytes) {
        Put(file, ConvertToGUID(RIFFChnkID(code)));
        Put(file, uint64_t{24 + dataBytes});
    }

    std::filesystem::path path_;
};

// To the next smaller number of whole frames.
inline const BenchFile& GiBOfAudio() {
    constexpr size_t kStep = 3 * 65536;
    static const BenchFile file("w64-gib", 0, 0, (size_t{1} << 30) / kStep * kStep);
    return file;
}

}  // namespace w64

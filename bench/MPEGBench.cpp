// MPEG audio in a Wave64 file, from Open to the end of the stream, against libmpg123 fed with the same blocks.

#include "BenchPlugin.h"
#include "audio/format/XAudioWFX.h"
#include "mp3/library/MPG123Handle.h"
#include "wave64/container/clWave64Handler.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mpg123.h>
#include <unistd.h>
#include <vector>

namespace w64 {

namespace {

namespace fs = std::filesystem;

constexpr size_t kBlockBytes = 65536;

// Two minutes of noise and a rising tone, stereo at 44100 Hz and 192 kbit/s, as SoX encodes them by LAME.
class MPEGFile {
public:
    MPEGFile() {
        const std::string stem =
            (fs::temp_directory_path() / "w64-mpeg-").string() + std::to_string(::getpid());
        const std::string encoded = stem + ".mp3";
        const std::string make = "sox -R -V1 -n -r 44100 -c 2 -C 192 " + encoded +
                                 " synth 120 sine 300-3000 pinknoise vol 0.5 2>/dev/null";
        if (std::system(make.c_str()) != 0) std::abort();
        std::ifstream file(encoded, std::ios::binary);
        const std::vector<char> stream(std::istreambuf_iterator<char>(file), {});
        fs::remove(encoded);
        path_ = stem + ".w64";
        Wrap(stream);
    }
    MPEGFile(const MPEGFile&) = delete;
    MPEGFile& operator=(const MPEGFile&) = delete;
    ~MPEGFile() { fs::remove(path_); }

    const fs::path& Path() const { return path_; }
    int64_t AudioOffset() const { return audioOffset_; }

private:
    void Wrap(const std::vector<char>& stream) {
        XAudioWFX format(2, 44100, 0);
        format.SetFormatTag(kTagMPEGLayer3);
        format.SetAvgBytesPerSec(24000);
        format.SetBlockAlign(1);
        XFile file;
        clWave64Handler chunks;
        chunks.SetRules({.safe = true});
        bool good = file.Open(FromUTF8(path_.native()), XFile::Access::CreateNew) &&
                    chunks.InitializeNewWAV(file.Handle(), format, STNStdReport{}, {}, 0) &&
                    file.Write(stream.data(), stream.size());
        STRIFFChunk* data = chunks.FindChunkForWrite("data");
        audioOffset_ = data->FileDataPosition;
        data->DataSize = static_cast<int64_t>(stream.size());
        good = good && chunks.WriteChunkHeaders(false);
        if (!good) std::abort();
    }

    fs::path path_;
    int64_t audioOffset_ = 0;
};

const MPEGFile& TestMPEG() {
    static const MPEGFile file;
    return file;
}

void DecodeMPEGInWave64(benchmark::State& state) { BenchPlugin().Measure(state, TestMPEG().Path()); }
BENCHMARK(DecodeMPEGInWave64)->Unit(benchmark::kMillisecond);

void DecodeMPEGByLibrary(benchmark::State& state) {
    std::vector<uint8_t> block(kBlockBytes);
    TestMPEG();
    int64_t bytes = 0;
    for ([[maybe_unused]] auto _ : state) {
        const MPG123Handle owner(mpg123_new(nullptr, nullptr));
        mpg123_handle* handle = owner.get();
        mpg123_param(handle, MPG123_ADD_FLAGS, MPG123_QUIET | MPG123_FORCE_FLOAT, 0);
        mpg123_param(handle, MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0);
        mpg123_open_feed(handle);
        XFile file;
        bool good = file.Open(FromUTF8(TestMPEG().Path().native()), XFile::Access::Read) &&
                    file.SetPosition(TestMPEG().AudioOffset());
        for (size_t got = 1; good && got > 0;) {
            got = file.Read(block.data(), block.size());
            good = mpg123_feed(handle, block.data(), got) == MPG123_OK;
            for (int result = MPG123_OK; result == MPG123_OK || result == MPG123_NEW_FORMAT;) {
                off_t frame = 0;
                uint8_t* samples = nullptr;
                size_t size = 0;
                result = mpg123_decode_frame(handle, &frame, &samples, &size);
                bytes += static_cast<int64_t>(size);
            }
        }
        if (!good) state.SkipWithError("libmpg123 failed");
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(DecodeMPEGByLibrary)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace w64

// Whole commands, each against the least that could do its work.

#include "BenchFile.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ebur128.h>
#include <filesystem>
#include <fstream>
#include <md5.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace w64 {

namespace {

namespace fs = std::filesystem;

const std::string kCommand = W64_COMMAND;

bool Run(const std::string& command) { return std::system((command + " >/dev/null").c_str()) == 0; }

void Measure(benchmark::State& state, const std::string& command) {
    for ([[maybe_unused]] auto _ : state) {
        if (!Run(command)) state.SkipWithError("the command failed");
    }
}

// Files to work on, in a folder that is removed at the end.
class Folder {
public:
    Folder() {
        fs::create_directories(Path("small"));
        MustRun(kCommand + " sample -q --seconds 1200 --rate 44100 --bits 16 " + Path("long.w64"));
        MustRun(kCommand + " decode -q -o " + Path("long.wav") + " " + Path("long.w64"));
        MustRun(kCommand + " sample -q --seconds 1 --rate 8000 --bits 16 " + Path("small/0.w64"));
        for (int i = 1; i < 2000; ++i)
            fs::copy_file(Path("small/0.w64"), Path("small/" + std::to_string(i) + ".w64"));
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    std::string Path(const std::string& name) const { return (path_ / name).native(); }

    static const Folder& Get() {
        static const Folder folder;
        return folder;
    }

private:
    static void MustRun(const std::string& command) {
        if (!Run(command)) std::abort();
    }

    fs::path path_ = fs::temp_directory_path() / ("w64-commands-" + std::to_string(::getpid()));
};

// The 16-bit samples of long.w64.
std::vector<short> Samples() {
    std::ifstream file(Folder::Get().Path("long.wav"), std::ios::binary);
    file.seekg(44);
    std::vector<short> samples(size_t{1200} * 44100 * 2);
    file.read(reinterpret_cast<char*>(samples.data()),
              static_cast<std::streamsize>(samples.size() * sizeof(short)));
    return samples;
}

// The commands wait until their output is on the disk.
void MeasureOutput(benchmark::State& state, const std::string& command, const std::string& name) {
    const std::string output = Folder::Get().Path(name);
    fs::remove(output);
    Measure(state, command + " " + output);
    fs::remove(output);
}

void DecodeGiBToWav(benchmark::State& state) {
    MeasureOutput(state, kCommand + " decode -q " + GiBOfAudio().Path().native() + " -o", "gib.wav");
}

void CopyGiBAndSync(benchmark::State& state) {
    MeasureOutput(state, "sync_copy() { cp $1 $2 && sync $2; }; sync_copy " + GiBOfAudio().Path().native(),
                  "gib.copy");
}

void CopyGiBByCommand(benchmark::State& state) {
    MeasureOutput(state, kCommand + " copy -q " + GiBOfAudio().Path().native(), "gib.w64");
}

void StatsOfLongFile(benchmark::State& state) {
    Measure(state, kCommand + " stats -q " + Folder::Get().Path("long.w64"));
}

// The same measures, from memory.
void StatsByLibrary(benchmark::State& state) {
    const std::vector<short> samples = Samples();
    for ([[maybe_unused]] auto _ : state) {
        constexpr int kMode =
            EBUR128_MODE_I | EBUR128_MODE_LRA | EBUR128_MODE_SAMPLE_PEAK | EBUR128_MODE_TRUE_PEAK;
        ebur128_state* meter = ebur128_init(2, 44100, kMode);
        ebur128_add_frames_short(meter, samples.data(), samples.size() / 2);
        double loudness = 0;
        ebur128_loudness_global(meter, &loudness);
        benchmark::DoNotOptimize(loudness);
        ebur128_destroy(&meter);
    }
}

void MD5OfLongFile(benchmark::State& state) {
    Measure(state, kCommand + " md5 -q " + Folder::Get().Path("long.w64"));
}

void MD5ByLibrary(benchmark::State& state) {
    const std::vector<short> samples = Samples();
    for ([[maybe_unused]] auto _ : state) {
        MD5_CTX context;
        MD5Init(&context);
        MD5Update(&context, reinterpret_cast<const uint8_t*>(samples.data()), samples.size() * sizeof(short));
        uint8_t digest[MD5_DIGEST_LENGTH];
        MD5Final(digest, &context);
        benchmark::DoNotOptimize(digest);
    }
}

void InfoOnSmallFiles(benchmark::State& state) {
    Measure(state, kCommand + " info -r " + Folder::Get().Path("small"));
}

void CheckSmallFiles(benchmark::State& state) {
    Measure(state, kCommand + " check -r " + Folder::Get().Path("small"));
}

void PlotLongFile(benchmark::State& state) {
    Measure(state, kCommand + " plot -q -f " + Folder::Get().Path("long.w64") + " -o " +
                       Folder::Get().Path("w64.png"));
}

void PlotBySox(benchmark::State& state) {
    Measure(state,
            "sox " + Folder::Get().Path("long.wav") + " -n spectrogram -o " + Folder::Get().Path("sox.png"));
}

void ConvertRateOfLongFile(benchmark::State& state, int threads) {
    Measure(state, kCommand + " decode -q -j" + std::to_string(threads) + " --rate 48000 -o - " +
                       Folder::Get().Path("long.w64"));
}

void ConvertRateByOneThread(benchmark::State& state) { ConvertRateOfLongFile(state, 1); }

void ConvertRateByTwoThreads(benchmark::State& state) { ConvertRateOfLongFile(state, 2); }

// Other processes do the work, so only the wall clock sees it.
#define COMMAND_BENCHMARK(function)                                                                          \
    BENCHMARK(function)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond)

COMMAND_BENCHMARK(DecodeGiBToWav);
COMMAND_BENCHMARK(CopyGiBAndSync);
COMMAND_BENCHMARK(CopyGiBByCommand);
COMMAND_BENCHMARK(StatsOfLongFile);
COMMAND_BENCHMARK(StatsByLibrary);
COMMAND_BENCHMARK(MD5OfLongFile);
COMMAND_BENCHMARK(MD5ByLibrary);
COMMAND_BENCHMARK(InfoOnSmallFiles);
COMMAND_BENCHMARK(CheckSmallFiles);
COMMAND_BENCHMARK(PlotLongFile);
COMMAND_BENCHMARK(PlotBySox);
COMMAND_BENCHMARK(ConvertRateByOneThread);
COMMAND_BENCHMARK(ConvertRateByTwoThreads);

}  // namespace

}  // namespace w64

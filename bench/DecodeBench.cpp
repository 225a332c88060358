// From Open to the end of the stream, against only reading the same blocks.

#include "BenchFile.h"
#include "BenchPlugin.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

namespace w64 {

namespace {

void DecodeThroughThePlugin(benchmark::State& state) { BenchPlugin().Measure(state, GiBOfAudio().Path()); }
BENCHMARK(DecodeThroughThePlugin)->Unit(benchmark::kMillisecond);

void DecodeByBareReads(benchmark::State& state) {
    std::vector<uint8_t> block(65532);  // whole frames
    int64_t bytes = 0;
    GiBOfAudio();
    for ([[maybe_unused]] auto _ : state) {
        const int descriptor = ::open(GiBOfAudio().Path().c_str(), O_RDONLY);
        ssize_t got = ::lseek(descriptor, BenchFile::kAudioOffset, SEEK_SET);
        while ((got = ::read(descriptor, block.data(), block.size())) > 0) bytes += got;
        ::close(descriptor);
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(DecodeByBareReads)->Unit(benchmark::kMillisecond);

}  // namespace

}  // namespace w64

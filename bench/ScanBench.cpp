// Scanning a file of 100,000 chunks, against a bare walk over the same headers.

#include "BenchFile.h"
#include "base/LittleEndian.h"
#include "base/XStr.h"
#include "wave64/container/clWave64Handler.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

namespace w64 {

namespace {

constexpr int kChunks = 100000;

const BenchFile& FileOfChunks() {
    static const BenchFile file("w64-chunks", kChunks, 1024, 0);
    return file;
}

int Walk(int descriptor) {
    std::vector<uint8_t> window(65536);
    int64_t start = 0;
    int64_t held = 0;
    int chunks = 0;
    for (int64_t position = 40;; ++chunks) {
        if (position + 24 > start + held) {
            start = position;
            held = ::pread(descriptor, window.data(), window.size(), start);
            if (held < 24) return chunks;
        }
        const auto size = base::Load<uint64_t>(window.data() + (position - start) + 16);
        position += static_cast<int64_t>((size + 7) / 8 * 8);
    }
}

void ScanChunks(benchmark::State& state) {
    const XStr path = FromUTF8(FileOfChunks().Path().native());
    for ([[maybe_unused]] auto _ : state) {
        XFile file;
        clWave64Handler handler;
        const bool good = file.Open(path, XFile::Access::Read) && handler.Initialize(file.Handle(), {});
        if (!good || handler.Count() < kChunks) state.SkipWithError("the scan failed");
    }
}
BENCHMARK(ScanChunks)->Unit(benchmark::kMicrosecond);

void WalkHeaders(benchmark::State& state) {
    const std::filesystem::path& path = FileOfChunks().Path();
    for ([[maybe_unused]] auto _ : state) {
        const int descriptor = ::open(path.c_str(), O_RDONLY);
        if (Walk(descriptor) < kChunks) state.SkipWithError("the walk failed");
        ::close(descriptor);
    }
}
BENCHMARK(WalkHeaders)->Unit(benchmark::kMicrosecond);

}  // namespace

}  // namespace w64

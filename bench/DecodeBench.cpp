// From Open to the end of the stream, against reading the same blocks and doing nothing with them.

#include "BenchFile.h"
#include "base/XStr.h"
#include "plugin/interface/KvRecords.h"
#include "plugin/interface/STNStdReport.h"

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

const BenchFile& AudioFile() {
    static const BenchFile file("w64-decode", 0, 0, size_t{1} << 30);
    return file;
}

template <class Function>
Function Find(void* library, const char* name) {
    void* symbol = library ? ::dlsym(library, name) : nullptr;
    if (!symbol) std::abort();
    return reinterpret_cast<Function>(symbol);
}

void DecodeThroughThePlugin(benchmark::State& state) {
    void* library = ::dlopen(W64_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    const auto create = Find<KvCreateFn>(library, "Create");
    const auto open = Find<KvOpenFn>(library, "Open");
    const auto decodeBlock = Find<KvDecodeBlockFn>(library, "DecodeBlock");
    const auto destroy = Find<KvDestroyFn>(library, "Destroy");
    const XStr path = FromUTF8(AudioFile().Path().native());
    int64_t bytes = 0;
    for ([[maybe_unused]] auto _ : state) {
        STNStdReport report{};
        void* handle = create(&report);
        STKvOpenDecoder record{};
        record.FileName = path.c_str();
        record.OpenFlags = kvOpenDecode;
        bool good = open(handle, &record);
        STKvAudioBlock block{};
        while (good && !block.EndOfStream) {
            good = decodeBlock(handle, &block);
            bytes += block.DataSize;
        }
        destroy(handle);
        if (!good) state.SkipWithError("the plug-in failed");
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(DecodeThroughThePlugin)->Unit(benchmark::kMillisecond);

void DecodeByBareReads(benchmark::State& state) {
    std::vector<uint8_t> block(65532);  // whole frames
    int64_t bytes = 0;
    AudioFile();
    for ([[maybe_unused]] auto _ : state) {
        const int descriptor = ::open(AudioFile().Path().c_str(), O_RDONLY);
        ssize_t got = ::lseek(descriptor, BenchFile::kAudioOffset, SEEK_SET);
        while ((got = ::read(descriptor, block.data(), block.size())) > 0) bytes += got;
        ::close(descriptor);
    }
    state.SetBytesProcessed(bytes);
}
BENCHMARK(DecodeByBareReads)->Unit(benchmark::kMillisecond);

}  // namespace

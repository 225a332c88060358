#pragma once

#include "base/XStr.h"
#include "interface/w64_decoder.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <optional>

namespace w64 {

// The decoder plug-in as a host uses it. It stays loaded.
class BenchPlugin {
public:
    // Decodes from Open to the end of the stream. Returns the bytes of audio, or nothing if the plug-in fails.
    std::optional<int64_t> Decode(const std::filesystem::path& file) const {
        const XStr path = FromUTF8(file.native());
        STNStdReport report{};
        void* handle = create_(&report);
        STKvOpenDecoder record{};
        record.FileName = path.c_str();
        record.OpenFlags = kvOpenDecode;
        bool good = open_(handle, &record);
        int64_t bytes = 0;
        STKvAudioBlock block{};
        while (good && !block.EndOfStream) {
            block = {};
            good = decodeBlock_(handle, &block);
            bytes += block.DataSize;
        }
        destroy_(handle);
        return good ? std::optional(bytes) : std::nullopt;
    }

    // Benchmarks the decoding of a file.
    void Measure(benchmark::State& state, const std::filesystem::path& file) const {
        int64_t bytes = 0;
        for ([[maybe_unused]] auto _ : state) {
            const auto decoded = Decode(file);
            if (!decoded) state.SkipWithError("the plug-in failed");
            bytes += decoded.value_or(0);
        }
        state.SetBytesProcessed(bytes);
    }

private:
    template <class Function>
    Function Find(const char* name) const {
        void* symbol = library_ ? ::dlsym(library_, name) : nullptr;
        if (!symbol) std::abort();
        return reinterpret_cast<Function>(symbol);
    }

    void* library_ = ::dlopen(W64_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    KvCreateFn create_ = Find<KvCreateFn>("Create");
    KvOpenFn open_ = Find<KvOpenFn>("Open");
    KvDecodeBlockFn decodeBlock_ = Find<KvDecodeBlockFn>("DecodeBlock");
    KvDestroyFn destroy_ = Find<KvDestroyFn>("Destroy");
};

}  // namespace w64

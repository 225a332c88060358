#pragma once

#include "Expect.h"
#include "ReportCapture.h"
#include "TempFolder.h"
#include "Wave64Bytes.h"
#include "base/XStr.h"
#include "interface/w64_decoder.h"

#include <dlfcn.h>
#include <stdexcept>

namespace w64 {

// The plug-in as a host sees it: nine names in a library.
class PluginLibrary {
public:
    explicit PluginLibrary(const char* path) : library_(::dlopen(path, RTLD_NOW | RTLD_LOCAL)) {}
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    ~PluginLibrary() { ::dlclose(library_); }

private:
    template <class Function>
    Function Find(const char* name) const {
        void* const function = library_ ? ::dlsym(library_, name) : nullptr;
        return function ? reinterpret_cast<Function>(function) : throw std::runtime_error(::dlerror());
    }

    void* library_;

public:
    const KvCreateFn Create = Find<KvCreateFn>("Create");
    const KvDestroyFn Destroy = Find<KvDestroyFn>("Destroy");
    const KvOpenFn Open = Find<KvOpenFn>("Open");
    const KvCloseFn Close = Find<KvCloseFn>("Close");
    const KvDecodeBlockFn DecodeBlock = Find<KvDecodeBlockFn>("DecodeBlock");
    const KvSetPositionFn SetPosition = Find<KvSetPositionFn>("SetPosition");
    const KvGetFn Get = Find<KvGetFn>("Get");
    const KvSetFn Set = Find<KvSetFn>("Set");
    const KvDeleteATagFn DeleteATag = Find<KvDeleteATagFn>("DeleteATag");
};

inline const PluginLibrary& Plugin() {
    static const PluginLibrary plugin(W64_PLUGIN);
    return plugin;
}

// One instance, its records and what it reports.
class PluginHost {
public:
    PluginHost() {
        STNStdReport report = capture.Report();
        handle = Plugin().Create(&report);
    }
    PluginHost(const PluginHost&) = delete;
    PluginHost& operator=(const PluginHost&) = delete;
    ~PluginHost() { Plugin().Destroy(handle); }

    int32_t Open(const std::filesystem::path& path, uint32_t flags = kvOpenDecode) {
        const XStr name = FromUTF8(path.native());
        open = {};
        open.FileName = name.c_str();
        open.OpenFlags = flags;
        return Plugin().Open(handle, &open);
    }

    int32_t SetRange(int64_t start, int64_t end) {
        STKvCodecGetSet record{};
        record.RangeStart = start;
        record.RangeEnd = end;
        return Plugin().Set(handle, L"Set Decode Range", &record);
    }

    int32_t WriteTags(const std::filesystem::path& path,
                      Bytes tags) {  // by value, so that reads past it are caught
        const XStr name = FromUTF8(path.native());
        STKvCodecGetSet record{};
        record.Text1 = name.c_str();
        record.TagData = tags.data();
        record.Value = static_cast<int32_t>(tags.size());
        return Plugin().Set(handle, kvSetTags, &record);
    }

    int32_t DecodeBlock() {
        block = {};
        return Plugin().DecodeBlock(handle, &block);
    }

    int32_t Close() { return Plugin().Close(handle, reinterpret_cast<STKvEncoderFluid*>(&fluid)); }

    // Everything up to the end of the stream; stops at the first failure.
    Bytes DecodeAll() {
        Bytes audio;
        do {
            if (!DecodeBlock()) break;
            const auto* data = static_cast<const uint8_t*>(block.Data);
            audio.insert(audio.end(), data, data + block.DataSize);
        } while (!block.EndOfStream);
        return audio;
    }

    ReportCapture capture;
    char fluid = 0;  // opaque to the plug-in
    void* handle = nullptr;
    STKvOpenDecoder open{};
    STKvAudioBlock block{};
};

}  // namespace w64

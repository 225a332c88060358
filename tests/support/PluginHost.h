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
struct PluginLibrary {
    explicit PluginLibrary(const char* path) : library(::dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
        if (!library) throw std::runtime_error(::dlerror());
        Find(Create, "Create");
        Find(Destroy, "Destroy");
        Find(Open, "Open");
        Find(Close, "Close");
        Find(DecodeBlock, "DecodeBlock");
        Find(SetPosition, "SetPosition");
        Find(Get, "Get");
        Find(Set, "Set");
        Find(DeleteATag, "DeleteATag");
    }
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    ~PluginLibrary() { ::dlclose(library); }

    template <class Function>
    void Find(Function& function, const char* name) {
        function = reinterpret_cast<Function>(::dlsym(library, name));
        if (!function) throw std::runtime_error(name);
    }

    void* library;
    KvCreateFn Create;
    KvDestroyFn Destroy;
    KvOpenFn Open;
    KvCloseFn Close;
    KvDecodeBlockFn DecodeBlock;
    KvSetPositionFn SetPosition;
    KvGetFn Get;
    KvSetFn Set;
    KvDeleteATagFn DeleteATag;
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

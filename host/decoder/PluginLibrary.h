#pragma once

#include "interface/w64_decoder.h"

#include <filesystem>
#include <memory>

namespace w64 {

// A loaded decoder plug-in: its entry points, valid as long as the object.
// Errors: Failure when the file cannot be loaded or lacks an entry point.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::filesystem::path& file);

    // The Wave64 decoder: a file, a folder with a w64.dll, or, when empty, the folder of this program.
    static PluginLibrary OfWave64(const std::filesystem::path& place);

    static std::filesystem::path FolderOfProgram();

private:
    struct Unload {
        void operator()(void* module) const;
    };
    template <class Function>
    Function Find(const char* name) const;

    std::unique_ptr<void, Unload> module_;

public:
    const KvCreateFn Create;
    const KvDestroyFn Destroy;
    const KvOpenFn Open;
    const KvCloseFn Close;
    const KvDecodeBlockFn DecodeBlock;
    const KvGetFn Get;
    const KvSetFn Set;
    const KvDeleteATagFn DeleteATag;
};

}  // namespace w64

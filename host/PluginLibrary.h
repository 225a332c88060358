#pragma once

#include "plugin/interface/KvRecords.h"

#include <filesystem>
#include <memory>

// A loaded decoder plug-in: its entry points, valid as long as the object.
// Errors: Failure when the file cannot be loaded or lacks an entry point.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::filesystem::path& file);

    // The Wave64 decoder that lies beside this program.
    static PluginLibrary BesideProgram();

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

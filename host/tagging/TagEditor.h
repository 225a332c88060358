#pragma once

#include "host/decoder/OwnSettings.h"
#include "host/decoder/PluginLibrary.h"
#include "host/tagging/KeptChunks.h"
#include "host/tagging/TagChange.h"
#include "host/terminal/CommandContext.h"

#include <filesystem>

namespace w64 {

// Changes the tags of one file through the decoder, and verifies that nothing else has changed.
// Errors: Failure; the file is then unchanged, unless it is edited in place.
class TagEditor {
public:
    TagEditor(const PluginLibrary& library, OwnSettings& settings, CommandContext context)
        : library_(library), settings_(settings), context_(context) {}

    // Edits a copy, compares its audio and other chunks byte by byte, and replaces the file with it.
    void EditCopy(const std::filesystem::path& file, const TagChange& change);

    // Edits the file itself; signals are held until the edit is done. The names and sizes of the other chunks
    // are compared, not their bytes.
    void EditInPlace(const std::filesystem::path& file, const TagChange& change);

private:
    NTag ReadTags(const std::filesystem::path& file, uint32_t flags) const;
    void Edit(const std::filesystem::path& file, const TagChange& change);

    const PluginLibrary& library_;
    OwnSettings& settings_;
    CommandContext context_;
};

}  // namespace w64

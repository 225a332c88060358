#pragma once

#include "host/decoder/OwnSettings.h"
#include "host/decoder/PluginLibrary.h"
#include "host/tagging/KeptChunks.h"
#include "host/tagging/TagChange.h"
#include "host/terminal/CommandContext.h"

#include <filesystem>

namespace w64 {

// Changes the tags of one file through the decoder, and makes sure that nothing else has changed.
// Errors: Failure; the file is then as it was, unless it was to be edited in place.
class TagEditor {
public:
    TagEditor(const PluginLibrary& library, OwnSettings& settings, CommandContext context)
        : library_(library), settings_(settings), context_(context) {}

    // Edits a copy, compares its audio and other chunks byte by byte, and puts it in the file's place.
    void EditCopy(const std::filesystem::path& file, const TagChange& change);

    // Edits the file itself, and lets no signal end the program meanwhile. Of the other chunks names and sizes
    // are compared, not the bytes.
    void EditInPlace(const std::filesystem::path& file, const TagChange& change);

private:
    NTag ReadTags(const std::filesystem::path& file, uint32_t flags) const;
    void Edit(const std::filesystem::path& file, const TagChange& change);

    const PluginLibrary& library_;
    OwnSettings& settings_;
    CommandContext context_;
};

}  // namespace w64
